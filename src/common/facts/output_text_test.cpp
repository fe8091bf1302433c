#include "src/common/facts/output_text.h"

#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "src/common/facts/value.h"

namespace zelk::facts {
namespace {

using texts = std::vector<std::string>;

texts lines_of(std::string_view output) {
  line_reader lines(output);
  texts all;
  for (std::string_view line; lines.next(line);)
    all.emplace_back(line);
  return all;
}

TEST(line_reader_, ends_a_line_at_each_newline) {
  using namespace std::string_literals;
  EXPECT_EQ(lines_of(""), texts());
  EXPECT_EQ(lines_of("a"), texts{"a"});
  EXPECT_EQ(lines_of("a\n\nb\r\nc\r"), (texts{"a", "", "b", "c"}));
  EXPECT_EQ(lines_of("a\0b\n"s), texts{"a\0b"s});
}

TEST(line_reader_, passes_over_what_is_too_long) {
  const std::string longest(longest_line, 'x');
  EXPECT_EQ(lines_of("a\n" + longest + "x\nb\n"), (texts{"a", "b"}));
  EXPECT_EQ(lines_of(longest + "\n").size(), 1U);
}

TEST(repaired_, puts_a_sign_in_place_of_each_bad_byte) {
  struct {
    const char* text;
    const char* repaired;
  } const cases[] = {
      {"plain", "plain"},
      {"knoten-\xc3\xa4", "knoten-\xc3\xa4"},
      {"\xe2\x82\xac \xf0\x9f\x98\x80", "\xe2\x82\xac \xf0\x9f\x98\x80"},
      {"\xff", "\xef\xbf\xbd"},
      {"a\xc3", "a\xef\xbf\xbd"},
      {"\xc0\x80", "\xef\xbf\xbd\xef\xbf\xbd"},
      {"\xed\xa0\x80", "\xef\xbf\xbd\xef\xbf\xbd\xef\xbf\xbd"},
      {"\xf4\x90\x80\x80", "\xef\xbf\xbd\xef\xbf\xbd\xef\xbf\xbd\xef\xbf\xbd"},
      {"\xe0\x80\xaf", "\xef\xbf\xbd\xef\xbf\xbd\xef\xbf\xbd"},
      {"12345678\x80"
       "9",
       "12345678\xef\xbf\xbd"
       "9"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.text);
    std::string buffer;
    const std::string_view result = repaired(c.text, buffer);
    EXPECT_EQ(result, c.repaired);
    EXPECT_TRUE(is_utf8(result));
    EXPECT_EQ(is_utf8(c.text), std::string_view(c.text) == c.repaired);
  }
}

TEST(excerpt_, cuts_no_character_in_two) {
  EXPECT_EQ(excerpt(std::string(60, 'a')), std::string(60, 'a'));
  EXPECT_EQ(excerpt(std::string(61, 'a')), std::string(60, 'a') + "...");
  EXPECT_EQ(excerpt(std::string(59, 'a') + "\xc3\xa4"),
            std::string(59, 'a') + "...");
}

}  // namespace
}  // namespace zelk::facts
