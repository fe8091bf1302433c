// What is said of several measurements of one thing.
#pragma once

#include <vector>

namespace zelk::perf {

struct spread {
  double least = 0, median = 0, mean = 0, most = 0;
};

// All zero for no values.
spread spread_of(std::vector<double> values);

// The value that `share` (0 to 1) of the values do not exceed; 0 for none.
double quantile(std::vector<double>& values, double share);

// How far `low` lies below `high`, in percent of `high`.
double percent_below(double low, double high);

}  // namespace zelk::perf
