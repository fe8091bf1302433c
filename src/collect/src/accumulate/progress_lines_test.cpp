#include "src/collect/src/accumulate/progress_lines.h"

#include <gtest/gtest.h>

namespace zelk::accumulate {
namespace {

using std::chrono::seconds;

struct progress_lines_test : public ::testing::Test {
  std::string at(int second, std::uint64_t done, std::uint64_t total = 8) {
    return lines.look(done, total, "so far", start + seconds(second))
        .value_or("");
  }

  progress_lines::clock::time_point start;
  progress_lines lines{start};
};

TEST_F(progress_lines_test, tells_each_quarter_once) {
  EXPECT_EQ(at(0, 0), "");
  EXPECT_EQ(at(1, 1), "");
  EXPECT_EQ(at(2, 2), " 25%  2/8 results  so far");
  EXPECT_EQ(at(3, 2), "");
  EXPECT_EQ(at(4, 7), " 87%  7/8 results  so far");
  EXPECT_EQ(at(5, 8), "100%  8/8 results  so far");
  EXPECT_EQ(at(6, 9), "");
}

TEST_F(progress_lines_test, tells_a_minute_without_a_quarter) {
  EXPECT_EQ(at(59, 1), "");
  EXPECT_EQ(at(60, 1), " 12%  1/8 results  so far");
  EXPECT_EQ(at(100, 2), " 25%  2/8 results  so far");
  EXPECT_EQ(at(159, 2), "");
  EXPECT_EQ(at(160, 2), " 25%  2/8 results  so far");
}

TEST_F(progress_lines_test, is_silent_once_all_is_there) {
  EXPECT_NE(at(1, 8), "");
  EXPECT_EQ(at(1000, 8), "");
}

TEST_F(progress_lines_test, is_silent_while_nobody_knows_how_many) {
  EXPECT_EQ(at(1000, 5, 0), "");
}

TEST_F(progress_lines_test, tells_no_quarter_again_when_more_is_expected) {
  EXPECT_NE(at(1, 4), "");
  EXPECT_EQ(at(2, 5, 16), "");
  EXPECT_EQ(at(3, 12, 16), " 75%  12/16 results  so far");
}

}  // namespace
}  // namespace zelk::accumulate
