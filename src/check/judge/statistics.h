// What a number is worth among those of its peers. Median and MAD (the median
// of the distances from the median) throughout: one bad node moves a mean, and
// half of the nodes do not move a median.

#pragma once

#include <cstddef>
#include <optional>
#include <vector>

namespace zelk::check {

struct spread {
  double median = 0;
  double mad = 0;
};

// Requires: `ascending` is not empty and holds finite numbers.
double median_of(const std::vector<double>& ascending);
spread spread_of(const std::vector<double>& ascending);

// 0.6745 (x - median) / MAD, of a normal distribution its standard score.
// Nothing when MAD is 0.
std::optional<double> robust_z(double value, const spread& of);

// How far from the median in per cent of it. Nothing of a median of 0.
std::optional<double> delta_percent(double value, double median);

// How far from its median one of `count` values must be to be called an
// outlier, when a single one would have to be at `z`. Some of many are always
// far out, and the MAD of few says little.
double needed_z(double z, std::size_t count);

// A gap in the values that parts them into two groups.
struct two_groups {
  std::size_t below = 0;     // how many are in the lower group
  double low = 0, high = 0;  // the groups' medians
};

// Returns the groups when both have at least `least` values, and the gap is
// wider than `width` and far wider than either group is spread. Fewer than ten
// values are not parted: their groups are too small to tell.
std::optional<two_groups> find_two_groups(const std::vector<double>& ascending,
                                          std::size_t least, double width);

}  // namespace zelk::check
