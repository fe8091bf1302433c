// Scaling of a provider's time-out by the number of nodes it runs on.
//
// Pure arithmetic, defined for every argument: what does not fit is the nearest
// value that does.

#pragma once

#include <cstdint>

#include "src/common/names/names.h"

namespace zelk {

// No provider gets less, whatever its description says.
constexpr std::int64_t least_timeout_sec = 60;

// Returns the time-out in seconds, never below least_timeout_sec. A `scale`
// that has no name scales nothing.
//
//   scale_timeout(100, 4, LINEAR)        400   base * nodes
//   scale_timeout(100, 4, SQUARED)      1600   base * nodes^2
//   scale_timeout(100, 4, LOGARITHMIC)   174   base * ln(nodes + e - 1)
//   scale_timeout(100, 0, LINEAR)         60   no node file could be read
std::int64_t scale_timeout(std::int64_t base_sec, std::int32_t nodes,
                           ScaleType scale);

}  // namespace zelk
