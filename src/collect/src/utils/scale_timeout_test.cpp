#include "src/collect/src/utils/scale_timeout.h"

#include <limits>
#include <string>
#include <vector>

#include <gtest/gtest.h>

namespace zelk {
namespace {

constexpr std::int64_t longest = std::numeric_limits<std::int64_t>::max();
constexpr std::int64_t shortest = std::numeric_limits<std::int64_t>::min();

TEST(scale_timeout, follows_each_rule_of_growth) {
  EXPECT_EQ(scale_timeout(100, 4, ScaleType::CONSTANT), 100);
  EXPECT_EQ(scale_timeout(100, 4, ScaleType::LINEAR), 400);
  EXPECT_EQ(scale_timeout(100, 4, ScaleType::SQUARED), 1600);
  EXPECT_EQ(scale_timeout(100, 4, ScaleType::LOGARITHMIC), 174);
}

TEST(scale_timeout, leaves_the_base_of_one_node_alone) {
  for (const ScaleType scale : {ScaleType::CONSTANT, ScaleType::LINEAR,
                                ScaleType::SQUARED, ScaleType::LOGARITHMIC}) {
    for (const std::int64_t base : {60, 61, 99, 3600, 86400, 31536000}) {
      SCOPED_TRACE(std::to_string(static_cast<int>(scale)) + " " +
                   std::to_string(base));
      EXPECT_EQ(scale_timeout(base, 1, scale), base);
    }
  }
}

TEST(scale_timeout, never_gives_less_than_a_minute) {
  for (const std::int64_t base : {shortest, std::int64_t{-1}, std::int64_t{0},
                                  std::int64_t{10}, std::int64_t{59}}) {
    SCOPED_TRACE(base);
    EXPECT_EQ(scale_timeout(base, 1, ScaleType::CONSTANT), 60);
    EXPECT_EQ(scale_timeout(base, 1, ScaleType::LINEAR), 60);
    EXPECT_EQ(scale_timeout(base, 1, ScaleType::SQUARED), 60);
    EXPECT_EQ(scale_timeout(base, 1, ScaleType::LOGARITHMIC), 60);
  }
}

TEST(scale_timeout, raises_to_a_minute_after_scaling_and_not_before) {
  EXPECT_EQ(scale_timeout(20, 4, ScaleType::LINEAR), 80);
  EXPECT_EQ(scale_timeout(10, 4, ScaleType::SQUARED), 160);
}

// No node file, or one that cannot be read.
TEST(scale_timeout, takes_a_count_of_no_nodes) {
  EXPECT_EQ(scale_timeout(100, 0, ScaleType::CONSTANT), 100);
  EXPECT_EQ(scale_timeout(100, 0, ScaleType::LINEAR), 60);
  EXPECT_EQ(scale_timeout(100, 0, ScaleType::SQUARED), 60);
  EXPECT_EQ(scale_timeout(100, 0, ScaleType::LOGARITHMIC), 60);
  EXPECT_EQ(scale_timeout(1000, 0, ScaleType::LOGARITHMIC), 541);
}

TEST(scale_timeout, grows_to_the_largest_count_of_a_record) {
  EXPECT_EQ(scale_timeout(60, 65535, ScaleType::LINEAR), 3932100);
  EXPECT_EQ(scale_timeout(60, 65535, ScaleType::SQUARED), 257690173500);
  EXPECT_EQ(scale_timeout(60, 65535, ScaleType::LOGARITHMIC), 665);
}

TEST(scale_timeout, keeps_the_base_under_a_scale_without_a_name) {
  EXPECT_EQ(scale_timeout(100, 4, static_cast<ScaleType>(4)), 100);
  EXPECT_EQ(scale_timeout(100, 4, static_cast<ScaleType>(-1)), 100);
}

TEST(scale_timeout, saturates_instead_of_overflowing) {
  EXPECT_EQ(scale_timeout(longest, 1, ScaleType::LINEAR), longest);
  EXPECT_EQ(scale_timeout(longest, 2, ScaleType::LINEAR), longest);
  EXPECT_EQ(scale_timeout(longest, -2, ScaleType::LINEAR), 60);
  EXPECT_EQ(scale_timeout(shortest, 2, ScaleType::LINEAR), 60);
  EXPECT_EQ(scale_timeout(shortest, -2, ScaleType::LINEAR), longest);
  EXPECT_EQ(scale_timeout(longest, 1, ScaleType::SQUARED), longest);
  EXPECT_EQ(scale_timeout(longest, 65535, ScaleType::SQUARED), longest);
  EXPECT_EQ(scale_timeout(shortest, 65535, ScaleType::SQUARED), 60);
  EXPECT_EQ(scale_timeout(longest, 65535, ScaleType::LOGARITHMIC), longest);
  EXPECT_EQ(scale_timeout(shortest, 65535, ScaleType::LOGARITHMIC), 60);
}

TEST(scale_timeout, takes_a_negative_count) {
  EXPECT_EQ(scale_timeout(100, -4, ScaleType::LINEAR), 60);
  EXPECT_EQ(scale_timeout(100, -4, ScaleType::SQUARED), 1600);
  EXPECT_EQ(scale_timeout(100, -4, ScaleType::LOGARITHMIC), 60);
}

}  // namespace
}  // namespace zelk
