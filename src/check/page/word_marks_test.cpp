#include "src/check/page/word_marks.h"

#include <string>

#include <gtest/gtest.h>

namespace zelk::check::html {
namespace {

// Marked words in brackets.
std::string marked(std::string_view of, std::string_view other) {
  std::string out;
  for (const marked_words& piece : word_marks(of, other))
    out += piece.differs ? '[' + std::string(piece.text) + ']'
                         : std::string(piece.text);
  return out;
}

TEST(word_marks, marks_the_word_that_differs) {
  EXPECT_EQ(marked("a=1 b=2", "a=1 b=3"), "a=1 b=[2]");
  EXPECT_EQ(marked("5.14.0-427", "5.14.0-503"), "5.14.0-[427]");
}

TEST(word_marks, marks_what_is_more_and_nothing_for_what_is_less) {
  EXPECT_EQ(marked("rw noatime nodev", "rw nodev"), "rw [noatime ]nodev");
  EXPECT_EQ(marked("rw nodev", "rw noatime nodev"), "rw nodev");
}

TEST(word_marks, takes_all_of_it_where_nothing_is_common) {
  EXPECT_EQ(marked("yes", "no"), "[yes]");
  EXPECT_EQ(marked("yes", ""), "[yes]");
  EXPECT_EQ(marked("", "yes"), "");
  EXPECT_EQ(marked("same", "same"), "same");
}

TEST(word_marks, finds_several_places) {
  EXPECT_EQ(marked("a b c d e", "a x c y e"), "a [b] c [d] e");
}

TEST(word_marks, pieces_together_are_the_text) {
  std::string mine, other;
  for (int i = 0; i < 5000; ++i) {
    mine += std::to_string(i) + ' ';
    other += std::to_string(i * 7 % 5000) + ' ';
  }
  std::string out;
  for (const marked_words& piece : word_marks(mine, other))
    out += piece.text;
  EXPECT_EQ(out, mine);
}

}  // namespace
}  // namespace zelk::check::html
