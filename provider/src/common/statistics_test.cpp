#include "provider/src/common/statistics.h"

#include <gtest/gtest.h>

namespace zelk::perf {
namespace {

TEST(quantile, is_a_value_that_occurred) {
  std::vector<double> values{5, 1, 4, 2, 3};
  EXPECT_EQ(quantile(values, 0.5), 3);
  EXPECT_EQ(quantile(values, 0.99), 5);
  EXPECT_EQ(quantile(values, 0), 1);
  EXPECT_EQ(quantile(values, 1), 5);
}

TEST(quantile, of_nothing_is_zero) {
  std::vector<double> values;
  EXPECT_EQ(quantile(values, 0.5), 0);
}

TEST(spread_of, tells_the_four) {
  const spread found = spread_of({4, 1, 1, 2});
  EXPECT_EQ(found.least, 1);
  EXPECT_EQ(found.median, 1);
  EXPECT_EQ(found.mean, 2);
  EXPECT_EQ(found.most, 4);
}

TEST(spread_of, nothing_is_zero) {
  EXPECT_EQ(spread_of({}).most, 0);
}

TEST(percent_below, is_of_the_higher) {
  EXPECT_EQ(percent_below(75, 100), 25);
  EXPECT_EQ(percent_below(110, 100), -10);
  EXPECT_EQ(percent_below(1, 0), 0);
}

}  // namespace
}  // namespace zelk::perf
