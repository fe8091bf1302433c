#include "src/check/report/line_difference.h"

#include <gtest/gtest.h>

namespace zelk::check {
namespace {

using lines = std::vector<std::string_view>;

TEST(difference_of, is_nothing_for_equal_texts) {
  const line_difference none = difference_of("a\nb", "a\nb");
  EXPECT_TRUE(none.removed.empty());
  EXPECT_TRUE(none.added.empty());
}

TEST(difference_of, tells_only_the_lines_that_differ) {
  const line_difference found = difference_of("a\nb\nc\nd\ne", "a\nx\nc\ne");
  EXPECT_EQ(found.removed, (lines{"b", "d"}));
  EXPECT_EQ(found.added, lines{"x"});
}

TEST(difference_of, knows_texts_without_lines) {
  EXPECT_EQ(difference_of("", "a").added, lines{"a"});
  EXPECT_EQ(difference_of("a\n", "").removed, lines{"a"});
  EXPECT_EQ(difference_of("a\n\nb", "a\nb").removed, lines{""});
}

// A moved line is one line taken out and one put in, not all between.
TEST(difference_of, follows_a_line_that_moved) {
  const line_difference found = difference_of("a\nb\nc\nd", "b\nc\nd\na");
  EXPECT_EQ(found.removed, lines{"a"});
  EXPECT_EQ(found.added, lines{"a"});
}

// A node may print a million lines: neither a square of memory nor of time.
TEST(difference_of, takes_very_long_texts_whole) {
  std::string before = "same\n", after = "same\n";
  for (int i = 0; i < 100'000; ++i) {
    before += "old\n";
    after += "new\n";
  }
  const line_difference found = difference_of(before, after);
  EXPECT_EQ(found.removed.size(), 100'000);
  EXPECT_EQ(found.added.size(), 100'000);
}

}  // namespace
}  // namespace zelk::check
