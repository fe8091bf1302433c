#include "src/collect/src/utils/scale_timeout.h"

#include <algorithm>
#include <cmath>
#include <limits>

namespace zelk {

namespace {

constexpr std::int64_t lowest = std::numeric_limits<std::int64_t>::min();
constexpr std::int64_t highest = std::numeric_limits<std::int64_t>::max();

// e - 1: with it one node leaves the base time-out as it is.
constexpr double one_node_offset = 1.718281828459045;

std::int64_t saturated_product(std::int64_t a, std::int64_t b) {
  std::int64_t product = 0;
  if (!__builtin_mul_overflow(a, b, &product)) return product;
  return (a < 0) == (b < 0) ? highest : lowest;
}

// Drops the fraction. The bounds are written as powers of two because `highest`
// itself is no double: it would be rounded up to 2^63, which does not fit.
std::int64_t truncated(double value) {
  if (std::isnan(value)) return 0;  // ln of a negative number
  if (value >= 0x1p63) return highest;
  if (value < -0x1p63) return lowest;
  return static_cast<std::int64_t>(value);
}

std::int64_t scaled(std::int64_t base_sec, std::int32_t nodes,
                    ScaleType scale) {
  const double base = static_cast<double>(base_sec);
  const double count = static_cast<double>(nodes);
  switch (scale) {
    case ScaleType::LINEAR:
      return saturated_product(base_sec, nodes);
    case ScaleType::SQUARED:
      return truncated(base * (count * count));
    case ScaleType::LOGARITHMIC:
      return truncated(base * std::log(count + one_node_offset));
    case ScaleType::CONSTANT:
      break;
  }
  return base_sec;
}

}  // namespace

std::int64_t scale_timeout(std::int64_t base_sec, std::int32_t nodes,
                           ScaleType scale) {
  return std::max(scaled(base_sec, nodes, scale), least_timeout_sec);
}

}  // namespace zelk
