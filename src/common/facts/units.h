// The units that a fact may have.
//
// A unit is written as people write it: an SI or IEC prefix where the unit
// takes one, the unit, and perhaps "/" and a unit of time or "op". Two facts
// may be compared when their units have one dimension, after multiplying each
// by its factor.

#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace zelk::facts {

struct unit {
  std::string dimension;  // "B", "s", "B/s"
  double factor = 1;      // from this unit to the dimension's own
};

//   KiB      B   1024        KB, kB   B     1000
//   us, µs   s   1e-6        MB/s     B/s   1e6
//   Gbit/s   B/s 1.25e8      GT/s     T/s   1e9   (transfers)
//   %        %   1           XYZ      nothing
std::optional<unit> unit_of(std::string_view text);

// Returns which units there are, for a complaint.
std::string known_units();

}  // namespace zelk::facts
