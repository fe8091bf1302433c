#include "src/common/text/visible_text.h"

#include <gtest/gtest.h>

namespace zelk::text {
namespace {

TEST(visible_text, writes_out_what_a_terminal_would_obey) {
  EXPECT_EQ(visible_text("node\x1b[2J"), "node\\x1b[2J");
  EXPECT_EQ(visible_text("a\nb\tc\r"), "a\\nb\\tc\\r");
  EXPECT_EQ(visible_text(std::string_view("\0", 1)), "\\x00");
  EXPECT_EQ(visible_text("\x7f"), "\\x7f");
  EXPECT_EQ(visible_text("\xc2\x9b"
                         "2J"),
            "\\x9b2J");                                // CSI in one character
  EXPECT_EQ(visible_text("\xe2\x80\xae"), "\\u202e");  // turns the line round
  EXPECT_EQ(visible_text("\xe2\x80\xa8"), "\\u2028");
  EXPECT_EQ(visible_text("\xf3\xa0\x80\x81"), "\\ue0001");
}

TEST(visible_text, leaves_readable_text_alone) {
  EXPECT_EQ(visible_text("knoten-\xc3\xa4 \xe8\xa8\x88 \xf0\x9f\x98\x80"),
            "knoten-\xc3\xa4 \xe8\xa8\x88 \xf0\x9f\x98\x80");
}

TEST(visible_text, writes_bytes_that_are_no_text_one_by_one) {
  EXPECT_EQ(visible_text("\xff\xfe"), "\\xff\\xfe");
  EXPECT_EQ(visible_text("\xc3"), "\\xc3");
  EXPECT_EQ(visible_text("\xc3"
                         "a"),
            "\\xc3a");
  EXPECT_EQ(visible_text("\xe8\xa8"), "\\xe8\\xa8");
  EXPECT_EQ(visible_text("\xc0\x80"), "\\xc0\\x80");
  EXPECT_EQ(visible_text("\x80x"), "\\x80x");
}

TEST(visible_text, yields_nothing_but_printable_bytes_for_any_two) {
  for (int a = 0; a < 256; ++a)
    for (int b = 0; b < 256; ++b) {
      const std::string pair = {static_cast<char>(a), static_cast<char>(b)};
      for (const char c : visible_text(pair))
        EXPECT_TRUE(static_cast<unsigned char>(c) >= ' ' && c != '\x7f');
    }
}

TEST(columns_of_text, counts_characters) {
  EXPECT_EQ(columns_of_text("a\xc3\xa4\xe8\xa8\x88"), 3U);
}

}  // namespace
}  // namespace zelk::text
