#include "src/check/judge/statistics.h"

#include <algorithm>
#include <random>
#include <vector>

#include <gtest/gtest.h>

namespace zelk::check {

namespace {

TEST(statistics, find_median_and_mad) {
  EXPECT_EQ(median_of({5}), 5);
  EXPECT_EQ(median_of({1, 2}), 1.5);
  EXPECT_EQ(median_of({-1e308, 1e308}), 0);
  const spread of = spread_of({1, 2, 3, 4, 100});
  EXPECT_EQ(of.median, 3);
  EXPECT_EQ(of.mad, 1);
  EXPECT_NEAR(*robust_z(100, of), 65.4, 0.1);
  EXPECT_FALSE(robust_z(100, spread_of({1, 1, 1, 100})));
}

TEST(statistics, ask_for_more_of_few_peers_and_of_many) {
  EXPECT_NEAR(needed_z(3.5, 100), 5.2, 0.1);
  EXPECT_GT(needed_z(3.5, 8), needed_z(3.5, 20));
  EXPECT_NEAR(needed_z(7, 100), 2 * needed_z(3.5, 100), 1e-9);
  EXPECT_GT(needed_z(3.5, 0), 0);
}

// The rule's own promise, kept for normal values of a class of any size.
TEST(statistics, call_hardly_any_normal_value_an_outlier) {
  std::mt19937 random(1);
  std::normal_distribution<double> normal(100, 1);
  for (const std::size_t count : {8U, 20U, 64U, 300U}) {
    SCOPED_TRACE(count);
    int classes_with_one = 0;
    constexpr int classes = 2000;
    for (int i = 0; i < classes; ++i) {
      std::vector<double> values(count);
      for (double& each : values)
        each = normal(random);
      std::sort(values.begin(), values.end());
      const spread of = spread_of(values);
      classes_with_one += *robust_z(values.back(), of) >= needed_z(3.5, count);
    }
    EXPECT_LE(classes_with_one, 10);
  }
}

TEST(statistics, find_two_groups_and_take_noise_for_one) {
  const std::vector<double> values = {10, 10.01, 10.02, 10.03, 10.04,
                                      12, 12.01, 12.02, 12.03, 12.04};
  const auto groups = find_two_groups(values, 2, 0.5);
  ASSERT_TRUE(groups);
  EXPECT_EQ(groups->below, 5U);
  EXPECT_NEAR(groups->low, 10.02, 1e-9);
  EXPECT_NEAR(groups->high, 12.02, 1e-9);
  EXPECT_FALSE(find_two_groups(values, 2, 5));
  EXPECT_FALSE(find_two_groups(values, 6, 0.5));
  EXPECT_FALSE(find_two_groups({}, 0, 0));
  EXPECT_FALSE(find_two_groups({1, 1, 1, 2, 2, 2}, 2, 0.5));
  EXPECT_FALSE(find_two_groups({1, 2, 3, 4, 5, 6, 7, 8, 9, 10}, 2, 0.5));
}

TEST(statistics, say_no_per_cent_of_nothing) {
  EXPECT_FALSE(delta_percent(5, 0));
  EXPECT_FALSE(delta_percent(-1e308, 1e-308));
  EXPECT_EQ(delta_percent(95, 100), -5);
  EXPECT_EQ(delta_percent(-90, -100), 10);
}

}  // namespace

}  // namespace zelk::check
