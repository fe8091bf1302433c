#include "src/common/xml/query.h"

#include <cstdint>
#include <limits>
#include <memory>
#include <optional>
#include <string>

#include <gtest/gtest.h>
#include <libxml/parser.h>
#include <libxml/tree.h>

namespace zelk::xml {
namespace {

class query : public testing::Test {
 protected:
  const xmlNode& parse(const std::string& text) {
    document_.reset(xmlReadMemory(text.data(), static_cast<int>(text.size()),
                                  "test", nullptr, 0));
    return *root(*document_);
  }

 private:
  std::unique_ptr<xmlDoc, void (*)(xmlDoc*)> document_{nullptr, xmlFreeDoc};
};

TEST_F(query, children_are_elements_of_that_name_right_below) {
  const xmlNode& a = parse("<a> <b>1</b><!--b--><c><b/></c><?b?><b>2</b></a>");
  const auto found = children(&a, "b");
  ASSERT_EQ(found.size(), 2U);
  EXPECT_EQ(content(*found[0]), "1");
  EXPECT_EQ(content(*found[1]), "2");
  EXPECT_EQ(child(&a, "b"), found[0]);
}

TEST_F(query, nothing_lies_below_nothing) {
  EXPECT_TRUE(children(nullptr, "b").empty());
  EXPECT_EQ(child(nullptr, "b"), nullptr);
  EXPECT_EQ(child(&parse("<a/>"), "b"), nullptr);
  EXPECT_EQ(attribute(nullptr, "b"), std::nullopt);
}

TEST_F(query, content_is_every_byte_of_text) {
  EXPECT_EQ(content(parse("<a> x\n\ty </a>")), " x\n\ty ");
  EXPECT_EQ(content(parse("<a>&lt;&amp;&#13;&#x20ac;</a>")),
            "<&\r\xe2\x82\xac");
  EXPECT_EQ(content(parse("<a>1<![CDATA[<2>]]>3</a>")), "1<2>3");
  EXPECT_EQ(content(parse("<a>1<!-- no --><?no no?>2</a>")), "12");
  EXPECT_EQ(content(parse("<a/>")), "");
}

TEST_F(query, attribute_has_white_space_as_a_token_has_it) {
  const xmlNode& a = parse("<a plain='x' wide='  x \n&#9; y ' empty=' '/>");
  EXPECT_EQ(attribute(&a, "plain"), "x");
  EXPECT_EQ(attribute(&a, "wide"), "x y");
  EXPECT_EQ(attribute(&a, "empty"), "");
  EXPECT_EQ(attribute(&a, "none"), std::nullopt);
}

TEST_F(query, attribute_of_a_namespace_is_another_one) {
  const xmlNode& a = parse("<a xmlns:n='urn:n' n:id='x'/>");
  EXPECT_EQ(attribute(&a, "id"), std::nullopt);
}

TEST(whole_number, takes_the_notation_of_a_schema) {
  EXPECT_EQ(whole_number("60"), 60);
  EXPECT_EQ(whole_number(" \n+060\t"), 60);
  EXPECT_EQ(whole_number("-0"), 0);
  EXPECT_EQ(whole_number("-9223372036854775808"),
            std::numeric_limits<std::int64_t>::min());
  EXPECT_EQ(whole_number("9223372036854775807"),
            std::numeric_limits<std::int64_t>::max());
}

TEST(whole_number, takes_nothing_else) {
  for (const char* text :
       {"", " ", "+", "-", "+-5", "--5", "1 2", "1.0", "1e3", "0x10", "5s",
        "9223372036854775808", "99999999999999999999999999"}) {
    SCOPED_TRACE(text);
    EXPECT_EQ(whole_number(text), std::nullopt);
  }
}

TEST_F(query, line_is_the_one_that_was_set) {
  const xmlNode& a = parse("<a>\n<b/></a>");
  EXPECT_EQ(line_of(*child(&a, "b")), 2);
  auto* b = const_cast<xmlNode*>(child(&a, "b"));
  set_line(*b, 3000000000);
  EXPECT_EQ(line_of(*b), 3000000000);
}

}  // namespace
}  // namespace zelk::xml
