#include "src/common/text/utf8.h"

#include <string>

#include <gtest/gtest.h>

namespace zelk::text {
namespace {

using namespace std::string_literals;

TEST(is_text, takes_plain_and_wide_characters) {
  for (const std::string& text :
       {""s, "a"s, "line\n\ttab\r\x7f"s, "gr\xc3\xbc\xc3\x9f"s,
        "\xe2\x82\xac 5"s, "\xf0\x9f\x98\x80"s, "\xed\x9f\xbf"s,
        "\xee\x80\x80"s, "\xf4\x8f\xbf\xbf"s, "\xc2\x80"s, "\xe0\xa0\x80"s,
        "\xf0\x90\x80\x80"s}) {
    SCOPED_TRACE(text);
    EXPECT_TRUE(is_text(text));
  }
}

TEST(is_text, refuses_what_a_reader_may_not_get) {
  for (const std::string& bytes : {"\0"s,
                                   "a\0b"s,
                                   "\x80"s,
                                   "\xbf"s,
                                   "\xc0\xaf"s,
                                   "\xc1\xbf"s,
                                   "\xc3"s,
                                   "\xc3("s,
                                   "\xe0\x80\x80"s,
                                   "\xe0\x9f\xbf"s,
                                   "\xe2\x82"s,
                                   "\xe2(\xac"s,
                                   "\xe2\x82("s,
                                   "\xed\xa0\x80"s,
                                   "\xed\xbf\xbf"s,
                                   "\xf0\x80\x80\x80"s,
                                   "\xf0\x8f\xbf\xbf"s,
                                   "\xf0\x9f\x98"s,
                                   "\xf4\x90\x80\x80"s,
                                   "\xf5\x80\x80\x80"s,
                                   "\xff"s,
                                   "\xfe"s}) {
    SCOPED_TRACE(testing::PrintToString(bytes));
    EXPECT_FALSE(is_text(bytes));
  }
}

// Plain text is looked at eight bytes at a time.
TEST(is_text, finds_one_bad_byte_at_any_place) {
  for (std::size_t size = 1; size < 40; ++size)
    for (std::size_t at = 0; at < size; ++at)
      for (const char bad : {'\0', '\x80', '\xff'}) {
        std::string text(size, 'x');
        EXPECT_TRUE(is_text(text));
        text[at] = bad;
        EXPECT_FALSE(is_text(text)) << size << " " << at;
      }
}

TEST(is_text, takes_a_wide_character_at_any_place) {
  for (std::size_t before = 0; before < 20; ++before)
    EXPECT_TRUE(is_text(std::string(before, 'x') + "\xe2\x82\xac" +
                        std::string(20 - before, 'y')));
}

}  // namespace
}  // namespace zelk::text
