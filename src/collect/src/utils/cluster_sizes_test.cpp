#include "src/collect/src/utils/cluster_sizes.h"

#include <limits>
#include <numeric>
#include <string>

#include <gtest/gtest.h>

#include "src/common/log/captured_log.h"

namespace zelk {
namespace {

using sizes = std::vector<int>;
using lines = std::vector<std::string>;

constexpr int most = std::numeric_limits<int>::max();
constexpr int least = std::numeric_limits<int>::min();

TEST(split_cluster_sizes, divides_evenly_where_it_can) {
  EXPECT_EQ(split_cluster_sizes(10, 5, 2), (sizes{5, 5}));
  EXPECT_EQ(split_cluster_sizes(4, 4, 2), (sizes{4}));
  EXPECT_EQ(split_cluster_sizes(9, 3, 1), (sizes{3, 3, 3}));
}

TEST(split_cluster_sizes, lets_what_is_left_over_be_a_group) {
  EXPECT_EQ(split_cluster_sizes(12, 5, 2), (sizes{5, 5, 2}));
  EXPECT_EQ(split_cluster_sizes(11, 5, 1), (sizes{5, 5, 1}));
  EXPECT_EQ(split_cluster_sizes(3, 5, 2), (sizes{3}));
}

TEST(split_cluster_sizes, shrinks_the_size_while_too_little_is_left_over) {
  EXPECT_EQ(split_cluster_sizes(11, 5, 2), (sizes{4, 4, 3}));
  EXPECT_EQ(split_cluster_sizes(13, 4, 2), (sizes{2, 2, 2, 2, 2, 2}));
  EXPECT_EQ(split_cluster_sizes(21, 10, 3), (sizes{9, 9, 3}));
}

TEST(split_cluster_sizes, takes_the_minimum_as_the_last_resort) {
  EXPECT_EQ(split_cluster_sizes(7, 4, 4), (sizes{4}));
  EXPECT_EQ(split_cluster_sizes(9, 3, 4), (sizes{4, 4}));
  EXPECT_EQ(split_cluster_sizes(9, -1, 4), (sizes{4, 4}));
  EXPECT_EQ(split_cluster_sizes(9, least, 4), (sizes{4, 4}));
}

TEST(split_cluster_sizes, drops_what_is_left_over_at_the_minimum) {
  EXPECT_EQ(split_cluster_sizes(7, 3, 3), (sizes{3, 3}));
  EXPECT_EQ(split_cluster_sizes(2, 5, 3), sizes{});
  EXPECT_EQ(split_cluster_sizes(2, 1, 3), sizes{});
}

TEST(split_cluster_sizes, makes_one_group_of_all_without_a_size) {
  EXPECT_EQ(split_cluster_sizes(7, 0, 3), sizes{7});
  EXPECT_EQ(split_cluster_sizes(7, 0, 9), sizes{7});
  EXPECT_EQ(split_cluster_sizes(0, 0, 3), sizes{0});
  const log::captured_log log;
  EXPECT_EQ(split_cluster_sizes(7, 0, 0), sizes{7});
  EXPECT_EQ(split_cluster_sizes(7, 0, -1), sizes{7});
  EXPECT_EQ(log.lines(), lines{});
}

TEST(split_cluster_sizes, refuses_a_minimum_below_one) {
  for (const int minimum : {0, -1, least}) {
    SCOPED_TRACE(minimum);
    const log::captured_log log(log::level_error);
    EXPECT_EQ(split_cluster_sizes(7, 4, minimum), sizes{});
    EXPECT_EQ(log.lines(), lines{"Invalid minimum cluster size"});
  }
}

TEST(split_cluster_sizes, gives_no_group_for_no_nodes) {
  EXPECT_EQ(split_cluster_sizes(0, 4, 2), sizes{});
  EXPECT_EQ(split_cluster_sizes(-6, 4, 2), sizes{});
  EXPECT_EQ(split_cluster_sizes(least, 4, 1), sizes{});
}

// Trying every size down from the largest would take seconds.
TEST(split_cluster_sizes, is_quick_for_any_size) {
  for (int i = 0; i < 1000; ++i) {
    EXPECT_EQ(split_cluster_sizes(5, most, 10), sizes{});
    EXPECT_EQ(split_cluster_sizes(50, most, 10), sizes{50});
    EXPECT_EQ(split_cluster_sizes(-50, most, 10), sizes{});
  }
}

TEST(split_cluster_sizes, never_gives_a_group_below_the_minimum) {
  for (int total = 0; total <= 60; ++total) {
    for (int size = 1; size <= 12; ++size) {
      for (int minimum = 1; minimum <= size; ++minimum) {
        SCOPED_TRACE(std::to_string(total) + " " + std::to_string(size) + " " +
                     std::to_string(minimum));
        const sizes made = split_cluster_sizes(total, size, minimum);
        for (const int one : made) {
          EXPECT_GE(one, minimum);
          EXPECT_LE(one, size);
        }
        const int used = std::accumulate(made.begin(), made.end(), 0);
        EXPECT_LE(used, total);
        EXPECT_LT(total - used, minimum);
      }
    }
  }
}

}  // namespace
}  // namespace zelk
