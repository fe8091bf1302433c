// Ranges as monitoring plugins write them: [@]START:END, both ends included.
//
//   10       0:10, what is not negative and at most 10
//   10:      at least 10
//   ~:10     at most 10
//   10:20    from 10 to 20
//   @10:20   outside of 10 to 20
//
// What a range holds is fine; the rest is not.

#pragma once

#include <limits>
#include <optional>
#include <string>
#include <string_view>

namespace zelk::check {

struct range {
  double start = -std::numeric_limits<double>::infinity();
  double end = std::numeric_limits<double>::infinity();
  bool inverted = false;  // fine is what lies outside

  // Nothing holds what is not a number.
  bool holds(double value) const;
};

// Returns nothing when `text` is none, and puts what was expected, and where,
// into `problem`.
std::optional<range> read_range(std::string_view text, std::string& problem);

// Returns the notation with which read_range gives the same range.
std::string text_of(const range& what);

}  // namespace zelk::check
