// What the benchmarks share: clocks, medians, and the one form of their output.

#pragma once

#include <algorithm>
#include <chrono>
#include <cstddef>
#include <cstdio>
#include <fstream>
#include <string>
#include <vector>

namespace zelk::bench {

template <typename Body>
double seconds_of(const Body& body) {
  const auto start = std::chrono::steady_clock::now();
  body();
  const auto took = std::chrono::steady_clock::now() - start;
  return std::chrono::duration<double>(took).count();
}

// Returns the least time of `work`, of 21 rounds, in milliseconds: whatever
// else the machine does can only add to it.
template <typename Work>
double least_ms(const Work& work) {
  constexpr int rounds = 21;
  double least = seconds_of(work);
  for (int i = 1; i < rounds; ++i)
    least = std::min(least, seconds_of(work));
  return least * 1000;
}

// Requires: at least one value.
inline double median(std::vector<double> values) {
  const auto middle =
      values.begin() + static_cast<std::ptrdiff_t>(values.size() / 2);
  std::nth_element(values.begin(), middle, values.end());
  return *middle;
}

// The most memory that this process ever had, in KiB.
inline double peak_kib() {
  std::ifstream in("/proc/self/status");
  std::string line;
  while (std::getline(in, line)) {
    if (line.starts_with("VmHWM:")) return std::stod(line.substr(6));
  }
  return 0;
}

inline void print_head() {
  std::printf("%-44s %12s %12s %7s %7s\n", "name", "ours", "floor", "ratio",
              "bar");
}

// Returns whether the ratio is within the bar.
inline bool print_row(const char* name, double ours, double floor, double bar) {
  const double ratio = ours / floor;
  std::printf("%-44s %12.6g %12.6g %7.3f %7.3f%s\n", name, ours, floor, ratio,
              bar, ratio <= bar ? "" : "  MISSED");
  std::fflush(stdout);
  return ratio <= bar;
}

}  // namespace zelk::bench
