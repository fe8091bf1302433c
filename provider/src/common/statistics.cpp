#include "provider/src/common/statistics.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <numeric>

namespace zelk::perf {

double quantile(std::vector<double>& values, double share) {
  if (values.empty()) return 0;
  const auto count = static_cast<double>(values.size());
  const double rank = std::ceil(share * count) - 1;
  const auto place =
      static_cast<std::ptrdiff_t>(std::clamp(rank, 0.0, count - 1));
  std::nth_element(values.begin(), values.begin() + place, values.end());
  return values[static_cast<std::size_t>(place)];
}

spread spread_of(std::vector<double> values) {
  if (values.empty()) return {};
  spread result;
  const auto [least, most] = std::minmax_element(values.begin(), values.end());
  result.least = *least;
  result.most = *most;
  result.mean = std::accumulate(values.begin(), values.end(), 0.0) /
                static_cast<double>(values.size());
  result.median = quantile(values, 0.5);
  return result;
}

double percent_below(double low, double high) {
  return high > 0 ? (high - low) / high * 100 : 0;
}

}  // namespace zelk::perf
