#include "src/check/page/escape.h"

#include <random>

#include <gtest/gtest.h>
#include <libxml/parser.h>

namespace zelk::check::html {
namespace {

std::string text(std::string_view from) {
  std::string out;
  append_text(out, from);
  return out;
}

std::string attribute(std::string_view from) {
  std::string out;
  append_attribute(out, from);
  return out;
}

std::string json(std::string_view from) {
  std::string out;
  append_script_json(out, from);
  return out;
}

TEST(append_text, leaves_plain_text_and_letters_of_all_languages) {
  EXPECT_EQ(text("node071: 224 GiB"), "node071: 224 GiB");
  EXPECT_EQ(text("Gr\u00f6\u00dfe \u6e2c\u5b9a \U0001f600"),
            "Gr\u00f6\u00dfe \u6e2c\u5b9a \U0001f600");
  EXPECT_EQ(text(""), "");
}

TEST(append_text, takes_the_meaning_from_markup) {
  EXPECT_EQ(text("</script><svg onload=x>&'\""),
            "&lt;/script&gt;&lt;svg onload=x&gt;&amp;&#39;&quot;");
  EXPECT_EQ(text("]]>&amp;"), "]]&gt;&amp;amp;");
}

TEST(append_text, shows_control_characters) {
  EXPECT_EQ(text("\x1b[2J"), "\u241b[2J");
  EXPECT_EQ(text(std::string_view("\0\x7f\r", 3)), "\u2400\u2421\u240d");
  EXPECT_EQ(text("a\tb\nc"), "a\tb\nc");
}

TEST(append_text, shows_what_would_hide_or_turn_a_line) {
  EXPECT_EQ(text("evil\u202etxt.exe"), "evil\\u202etxt.exe");
  EXPECT_EQ(text("a\u2028b\u0085c\u200bd\ufeff"),
            "a\\u2028b\\x85c\\u200bd\\ufeff");
  EXPECT_EQ(text("\U000e0041"), "\\U000e0041");
  EXPECT_EQ(text("\uffff"), "\\uffff");
}

TEST(append_text, replaces_bytes_that_are_no_text) {
  const std::pair<std::string_view, const char*> cases[] = {
      {"\xff", "\ufffd"},
      {"a\xc3", "a\ufffd"},                              // cut off
      {"\xc0\xaf", "\ufffd\ufffd"},                      // "/" in two bytes
      {"\xed\xa0\x80", "\ufffd\ufffd\ufffd"},            // half of a pair
      {"\xf4\x90\x80\x80", "\ufffd\ufffd\ufffd\ufffd"},  // above U+10FFFF
      {"\xc3<b>", "\ufffd&lt;b&gt;"},  // does not swallow the next
  };
  for (const auto& [from, to] : cases)
    EXPECT_EQ(text(from), to);
}

TEST(append_attribute, keeps_line_ends_as_references) {
  EXPECT_EQ(attribute("a\nb\tc"), "a&#10;b&#9;c");
  EXPECT_EQ(attribute("\" onload=\"x"), "&quot; onload=&quot;x");
  EXPECT_EQ(attribute("\x1b"), "\u241b");
}

TEST(append_script_json, means_the_same_without_any_tag) {
  EXPECT_EQ(json(R"({"a":"</script><!--"})"),
            R"({"a":"\u003c/script\u003e\u003c!--"})");
  EXPECT_EQ(json("\"a&b]]>\""), R"("a\u0026b]]\u003e")");
  EXPECT_EQ(json("\"\u2028\u2029\""), R"("\u2028\u2029")");
}

TEST(append_script_json, writes_pairs_above_the_first_plane) {
  EXPECT_EQ(json("\"\U000e0041\""), R"("\udb40\udc41")");
  EXPECT_EQ(json("\"\U0001f600\""), "\"\U0001f600\"");
}

// Whatever bytes come: an XML reader takes them, and a browser sees no tag.
TEST(append_text, makes_text_of_any_bytes) {
  std::mt19937 chance(6);
  for (int round = 0; round < 3000; ++round) {
    std::string bytes(chance() % 40, '\0');
    for (char& byte : bytes)
      byte = chance() % 3 == 0 ? "<>&\"'/!-]"[chance() % 9]
                               : static_cast<char>(chance());
    const std::string page =
        "<p a=\"" + attribute(bytes) + "\">" + text(bytes) + "</p>";
    xmlDoc* read =
        xmlReadMemory(page.data(), static_cast<int>(page.size()), "p", "UTF-8",
                      XML_PARSE_NONET | XML_PARSE_NOERROR);
    ASSERT_NE(read, nullptr) << page;
    EXPECT_EQ(xmlDocGetRootElement(read)->children == nullptr, bytes.empty());
    if (!bytes.empty()) {
      EXPECT_EQ(xmlDocGetRootElement(read)->children->next, nullptr);
    }
    xmlFreeDoc(read);
  }
}

}  // namespace
}  // namespace zelk::check::html
