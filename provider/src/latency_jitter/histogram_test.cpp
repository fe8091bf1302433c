#include "provider/src/latency_jitter/histogram.h"

#include <gtest/gtest.h>

#include "provider/src/latency_jitter/probes.h"

namespace zelk::perf::jitter {
namespace {

TEST(histogram, of_nothing_is_zero) {
  const histogram none;
  EXPECT_EQ(none.count(), 0u);
  EXPECT_EQ(none.least(), 0u);
  EXPECT_EQ(none.most(), 0u);
  EXPECT_EQ(none.mean(), 0);
  EXPECT_EQ(none.quantile(0.5), 0u);
}

TEST(histogram, keeps_small_values_exactly) {
  histogram values;
  for (std::uint64_t value = 1; value <= 100; ++value)
    values.add(value);
  EXPECT_EQ(values.quantile(0.5), 50u);
  EXPECT_EQ(values.least(), 1u);
  EXPECT_EQ(values.most(), 100u);
  EXPECT_DOUBLE_EQ(values.mean(), 50.5);
}

TEST(histogram, is_right_within_two_percent_everywhere) {
  for (std::uint64_t value = 1; value < std::uint64_t{1} << 40;
       value += 1 + value / 7) {
    histogram values;
    values.add(value);
    values.add(value);
    values.add(std::uint64_t{1} << 41);
    const auto found = static_cast<double>(values.quantile(0.5));
    EXPECT_LE(found, static_cast<double>(value));
    EXPECT_GE(found, static_cast<double>(value) * 0.98) << value;
  }
}

TEST(histogram, takes_what_is_longer_than_all_its_bins) {
  histogram values;
  values.add(UINT64_MAX);
  EXPECT_EQ(values.most(), UINT64_MAX);
  EXPECT_GT(values.quantile(1), std::uint64_t{1} << 40);
}

TEST(histogram, adds_up_with_another) {
  histogram one, other;
  one.add(10);
  other.add(30);
  other.add(20);
  one.add_all(other);
  EXPECT_EQ(one.count(), 3u);
  EXPECT_EQ(one.least(), 10u);
  EXPECT_EQ(one.most(), 30u);
  EXPECT_EQ(one.quantile(0.5), 20u);
  one.add_all(histogram{});
  EXPECT_EQ(one.least(), 10u);
}

TEST(repeat_quantum, takes_about_ten_microseconds_each) {
  const histogram durations = repeat_quantum(0.1);
  EXPECT_GT(durations.count(), 10u);
  EXPECT_GT(durations.least(), 3'000u);
  EXPECT_LT(durations.least(), 30'000u);
}

TEST(clock_reading_cost, is_that_of_one_reading) {
  const double cost = clock_reading_cost(20);
  EXPECT_GT(cost, 0.5);
  EXPECT_LT(cost, 20'000);  // a kernel call through a sanitizer
}

TEST(wake_up_delays, are_never_negative) {
  const histogram delays = wake_up_delays(0.02);
  EXPECT_GT(delays.count(), 0u);
  EXPECT_LT(delays.least(), 1'000'000'000u);
}

TEST(fork_exec_costs, come_at_least_five) {
  EXPECT_GE(fork_exec_costs(0).count(), 5u);
}

}  // namespace
}  // namespace zelk::perf::jitter
