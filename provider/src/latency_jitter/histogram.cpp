#include "provider/src/latency_jitter/histogram.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstddef>

namespace zelk::perf::jitter {

// Values below 64 have a bin each. From there on the highest bit chooses a row
// of 64 bins, the next six bits the bin in it.
std::size_t histogram::bin_of(std::uint64_t value) {
  constexpr std::uint64_t row = 1 << sub_bits;
  if (value < row) return value;
  const auto width = static_cast<int>(std::bit_width(value));
  const int shift = width - 1 - sub_bits;
  const std::size_t bin =
      (static_cast<std::size_t>(shift) + 1) * row + ((value >> shift) - row);
  return std::min(bin, std::tuple_size_v<decltype(bins_)> - 1);
}

std::uint64_t histogram::start_of(std::size_t bin) {
  constexpr std::uint64_t row = 1 << sub_bits;
  if (bin < row) return bin;
  return (row + bin % row) << (bin / row - 1);
}

void histogram::add(std::uint64_t nanoseconds) {
  ++bins_[bin_of(nanoseconds)];
  ++count_;
  sum_ += nanoseconds;
  least_ = std::min(least_, nanoseconds);
  most_ = std::max(most_, nanoseconds);
}

double histogram::mean() const {
  return count_ > 0 ? static_cast<double>(sum_) / static_cast<double>(count_)
                    : 0;
}

std::uint64_t histogram::quantile(double share) const {
  const auto wanted = static_cast<std::uint64_t>(
      std::ceil(share * static_cast<double>(count_)));
  std::uint64_t seen = 0;
  for (std::size_t bin = 0; bin < bins_.size(); ++bin) {
    seen += bins_[bin];
    if (seen >= wanted && seen > 0)
      return std::clamp(start_of(bin), least(), most_);
  }
  return most_;
}

void histogram::add_all(const histogram& other) {
  for (std::size_t bin = 0; bin < bins_.size(); ++bin)
    bins_[bin] += other.bins_[bin];
  count_ += other.count_;
  sum_ += other.sum_;
  least_ = std::min(least_, other.least_);
  most_ = std::max(most_, other.most_);
}

}  // namespace zelk::perf::jitter
