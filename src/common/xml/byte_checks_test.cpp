#include "src/common/xml/byte_checks.h"

#include <string>

#include <gtest/gtest.h>

namespace zelk::xml {
namespace {

constexpr std::size_t longest = 8192;  // bytes of a start tag

// Returns "line: text" of the fault, or "".
std::string fault(std::string_view content) {
  const std::optional<complaint> found = fault_of_bytes(content);
  return found ? std::to_string(found->line) + ": " + found->text : "";
}

// Returns a start tag of that many bytes, the '>' not counted.
std::string tag(std::size_t bytes) {
  return "<a b='" + std::string(bytes - 7, 'x') + "'";
}

constexpr char too_long[] = "2: expected a start tag of at most 8192 bytes";

TEST(fault_of_bytes, finds_none_in_plain_text) {
  EXPECT_EQ(fault("<a/>"), "");
  EXPECT_EQ(fault("no markup"), "");
  EXPECT_EQ(fault("<"), "");
}

TEST(fault_of_bytes, finds_no_bytes) {
  EXPECT_EQ(fault(""), "1: expected an XML document, found an empty file");
}

TEST(fault_of_bytes, finds_a_zero_byte_on_its_line) {
  EXPECT_EQ(fault(std::string_view("\0", 1)),
            "1: expected UTF-8 text, found a zero byte");
  EXPECT_EQ(fault(std::string_view("a\nb\n\0\n", 6)),
            "3: expected UTF-8 text, found a zero byte");
}

TEST(fault_of_bytes, takes_the_longest_start_tag_and_not_a_byte_more) {
  EXPECT_EQ(fault("\n" + tag(longest) + ">"), "");
  EXPECT_EQ(fault("\n" + tag(longest + 1) + ">"), too_long);
  EXPECT_EQ(fault("\n" + tag(longest + 1)), too_long);
}

TEST(fault_of_bytes, sees_through_quotes_in_a_tag) {
  const std::string half(longest / 2, 'x');
  EXPECT_EQ(fault("\n<a b='>" + half + "' c=\">'" + half + "\">"), too_long);
  EXPECT_EQ(fault("\n<a b='>" + half + "'>" + half), "");
}

TEST(fault_of_bytes, finds_the_long_tag_behind_short_ones) {
  EXPECT_EQ(fault("<a></a><!-- x --><?b?>\n" + tag(longest + 1) + ">"),
            too_long);
}

TEST(fault_of_bytes, lets_other_things_be_long) {
  const std::string much(2 * longest, 'x');
  EXPECT_EQ(fault("<a>" + much + "</a>"), "");
  EXPECT_EQ(fault("<a><!-- " + much + " --></a>"), "");
  EXPECT_EQ(fault("<a><![CDATA[" + much + "]]></a>"), "");
  EXPECT_EQ(fault("<a><?b " + much + "?></a>"), "");
}

}  // namespace
}  // namespace zelk::xml
