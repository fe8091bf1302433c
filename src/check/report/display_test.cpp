#include "src/check/report/display.h"

#include <gtest/gtest.h>

namespace zelk::check {
namespace {

using lines = std::vector<std::string>;

TEST(display_width, counts_columns) {
  EXPECT_EQ(display_width(""), 0);
  EXPECT_EQ(display_width("node"), 4);
  EXPECT_EQ(display_width("\u00e4\u2716"), 2);
  EXPECT_EQ(display_width("\u7bc0\u70b9"), 4);  // two ideographs
  EXPECT_EQ(display_width("e\u0301"), 1);       // a letter and its accent
  EXPECT_EQ(display_width("\U0001F600"), 2);
}

TEST(padded, fills_up_to_a_column) {
  EXPECT_EQ(padded("ab", 4), "ab  ");
  EXPECT_EQ(padded("\u7bc0", 4), "\u7bc0  ");
  EXPECT_EQ(padded("abcde", 4), "abcde");
}

TEST(wrapped, parts_at_blanks) {
  EXPECT_EQ(wrapped("one two three", 8), (lines{"one two", "three"}));
  EXPECT_EQ(wrapped("one two", 0), lines{"one two"});
  EXPECT_EQ(wrapped("", 8), lines{""});
}

TEST(wrapped, parts_a_node_set_behind_a_comma) {
  EXPECT_EQ(wrapped("node[001,003,005,007]", 12),
            (lines{"node[001,", "003,005,007]"}));
}

TEST(wrapped, parts_a_long_word_anywhere_but_in_a_character) {
  EXPECT_EQ(wrapped("abcdefgh", 3), (lines{"abc", "def", "gh"}));
  EXPECT_EQ(wrapped("\u7bc0\u70b9", 1), (lines{"\u7bc0", "\u70b9"}));
}

TEST(wrapped, loses_nothing_but_blanks) {
  const std::string text = "a bb ccc dddd eeeee,ffffff,ggggggg hhhhhhhh";
  for (std::size_t width = 1; width < 50; ++width) {
    std::string together;
    for (const std::string& line : wrapped(text, width)) {
      EXPECT_LE(line.size(), width);
      together += line;
    }
    std::erase(together, ' ');
    EXPECT_EQ(together, "abbcccddddeeeee,ffffff,ggggggghhhhhhhh");
  }
}

TEST(look, paints_only_when_asked_to) {
  EXPECT_EQ((look{false, false}.painted(ink::bad, "X")), "X");
  EXPECT_EQ((look{true, false}.painted(ink::bad, "X")), "\033[1;31mX\033[0m");
  EXPECT_EQ((look{true, false}.painted(ink::plain, "X")), "X");
  EXPECT_EQ((look{true, false}.painted(ink::bad, "")), "");
}

TEST(look, marks_severities_with_and_without_colour) {
  EXPECT_STREQ((look{false, false}.mark(severity::critical)), "X");
  EXPECT_STREQ((look{false, false}.mark(severity::warning)), "!");
  EXPECT_STREQ((look{false, false}.mark(severity::informational)), "i");
  EXPECT_STREQ((look{true, true}.mark(severity::critical)), "\u2716");
}

}  // namespace
}  // namespace zelk::check
