#include "src/check/judge/statistics.h"

#include <algorithm>
#include <cmath>
#include <numeric>

namespace zelk::check {

namespace {

constexpr double normal_quartile = 0.6745;

// For a chance of about one in 1,000 that any of `count` normal values is
// called an outlier at z 3.5: 4.8 + 60 / count^1.1, found by simulation. (100:
// 5.1; 20: 7.0; 8: 10.9.)
constexpr double usual_z = 3.5;
constexpr double of_many = 4.8;
constexpr double of_few = 60;
constexpr double falls_with = 1.1;

// Robust standard deviations between two groups, and how much more of small
// ones: three values are alike by chance.
constexpr double widths_apart = 4;
constexpr double of_small_groups = 10;
constexpr std::size_t least_parted = 10;

double median_between(const std::vector<double>& ascending, std::size_t first,
                      std::size_t end) {
  const std::size_t count = end - first;
  const double upper = ascending[first + count / 2];
  if (count % 2 == 1) return upper;
  const double lower = ascending[first + count / 2 - 1];
  return std::midpoint(lower, upper);
}

double mad_between(const std::vector<double>& ascending, std::size_t first,
                   std::size_t end, double median) {
  std::vector<double> distances;
  distances.reserve(end - first);
  for (std::size_t i = first; i < end; ++i)
    distances.push_back(std::abs(ascending[i] - median));
  std::sort(distances.begin(), distances.end());
  return median_of(distances);
}

}  // namespace

double median_of(const std::vector<double>& ascending) {
  return median_between(ascending, 0, ascending.size());
}

spread spread_of(const std::vector<double>& ascending) {
  const double median = median_of(ascending);
  return {median, mad_between(ascending, 0, ascending.size(), median)};
}

std::optional<double> robust_z(double value, const spread& of) {
  if (of.mad <= 0) return std::nullopt;
  return normal_quartile * (value - of.median) / of.mad;
}

std::optional<double> delta_percent(double value, double median) {
  const double share = (value - median) / std::abs(median) * 100;
  if (median == 0 || !std::isfinite(share)) return std::nullopt;
  return share;
}

double needed_z(double z, std::size_t count) {
  const double n = static_cast<double>(std::max<std::size_t>(count, 1));
  return z / usual_z * (of_many + of_few / std::pow(n, falls_with));
}

std::optional<two_groups> find_two_groups(const std::vector<double>& ascending,
                                          std::size_t least, double width) {
  const std::size_t count = ascending.size();
  if (least == 0 || count < 2 * least || count < least_parted)
    return std::nullopt;
  std::size_t split = least;
  for (std::size_t i = least; i + least <= count; ++i)
    if (ascending[i] - ascending[i - 1] >
        ascending[split] - ascending[split - 1])
      split = i;
  const double gap = ascending[split] - ascending[split - 1];
  two_groups result;
  result.below = split;
  result.low = median_between(ascending, 0, split);
  result.high = median_between(ascending, split, count);
  const double wider =
      std::max(mad_between(ascending, 0, split, result.low),
               mad_between(ascending, split, count, result.high));
  const auto smaller = static_cast<double>(std::min(split, count - split));
  const double apart = widths_apart * (1 + of_small_groups / smaller);
  if (gap <= width || gap <= apart * wider / normal_quartile)
    return std::nullopt;
  return result;
}

}  // namespace zelk::check
