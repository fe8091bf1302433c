// Many durations in little room: counts in bins that each span 1.6 %.
//
// A quantile is told as its bin's lower end, the extremes are exact. The room
// does not grow with the number of values, so that 512 processors can each keep
// one.
#pragma once

#include <array>
#include <cstdint>

namespace zelk::perf::jitter {

class histogram {
 public:
  void add(std::uint64_t nanoseconds);

  std::uint64_t count() const { return count_; }
  std::uint64_t least() const { return count_ > 0 ? least_ : 0; }
  std::uint64_t most() const { return most_; }
  double mean() const;

  // The value that `share` (0 to 1) of the values do not exceed.
  std::uint64_t quantile(double share) const;

  void add_all(const histogram& other);

 private:
  // 64 bins for each power of two up to 2^40 ns, 18 minutes; what is longer
  // falls into the last.
  static constexpr int sub_bits = 6;
  static constexpr int powers = 41;
  static std::size_t bin_of(std::uint64_t value);
  static std::uint64_t start_of(std::size_t bin);

  std::array<std::uint64_t, (powers - sub_bits + 1) << sub_bits> bins_{};
  std::uint64_t count_ = 0, sum_ = 0, most_ = 0;
  std::uint64_t least_ = UINT64_MAX;
};

}  // namespace zelk::perf::jitter
