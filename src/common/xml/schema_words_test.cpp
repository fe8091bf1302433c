#include "src/common/xml/schema_words.h"

#include <string>
#include <vector>

#include <gtest/gtest.h>
#include <libxml/tree.h>

#include "src/common/log/captured_log.h"
#include "src/common/xml/test_files.h"
#include "src/common/xml/xml.h"

namespace zelk::xml {
namespace {

// One of each construct that our schemas use.
constexpr char schema[] = R"(<?xml version="1.0"?>
<xs:schema xmlns:xs="http://www.w3.org/2001/XMLSchema">
  <xs:element name="site">
    <xs:complexType><xs:all>
      <xs:element name="title" type="title"/>
      <xs:element name="owner" type="xs:string" minOccurs="0"/>
      <xs:element name="limit" minOccurs="0">
        <xs:complexType><xs:simpleContent><xs:extension base="count">
          <xs:attribute name="unit" type="unit"/>
        </xs:extension></xs:simpleContent></xs:complexType>
      </xs:element>
      <xs:element name="racks" type="racks_type" minOccurs="0">
        <xs:unique name="u">
          <xs:annotation><xs:documentation>a name of its own</xs:documentation>
          </xs:annotation>
          <xs:selector xpath="rack"/><xs:field xpath="@name"/>
        </xs:unique>
      </xs:element>
    </xs:all></xs:complexType>
  </xs:element>
  <xs:complexType name="racks_type"><xs:sequence>
    <xs:element name="rack" minOccurs="0" maxOccurs="unbounded">
      <xs:complexType>
        <xs:attribute name="name" type="title" use="required"/>
        <xs:attribute name="undocumented" type="xs:int"/>
      </xs:complexType>
    </xs:element>
  </xs:sequence></xs:complexType>
  <xs:simpleType name="title">
    <xs:annotation><xs:documentation>some text</xs:documentation></xs:annotation>
    <xs:restriction base="xs:token"><xs:minLength value="1"/></xs:restriction>
  </xs:simpleType>
  <xs:simpleType name="count">
    <xs:annotation><xs:documentation>a count</xs:documentation></xs:annotation>
    <xs:restriction base="xs:int"><xs:minInclusive value="0"/></xs:restriction>
  </xs:simpleType>
  <xs:simpleType name="unit">
    <xs:annotation><xs:documentation>kg or lb</xs:documentation></xs:annotation>
    <xs:restriction base="xs:token">
      <xs:enumeration value="kg"/><xs:enumeration value="lb"/>
    </xs:restriction>
  </xs:simpleType>
</xs:schema>
)";

// Returns the one log line about `text`, without the name of the file.
std::string words(const std::string& text) {
  const test_files files;
  const log::captured_log log;
  const std::string path = files.write("f", text);
  xmlDoc* document = nullptr;
  EXPECT_FALSE(open_and_validate(path, files.write("s", schema), document));
  xmlFreeDoc(document);
  EXPECT_EQ(log.lines().size(), 1U);
  return log.text().substr(path.size() + 1,
                           log.text().size() - path.size() - 2);
}

std::string words_inside(const std::string& racks) {
  return words("<site><title>t</title><racks>\n" + racks + "\n</racks></site>");
}

TEST(schema_words, say_which_elements_there_are) {
  EXPECT_EQ(words("<site><title>t</title>\n<tilte/></site>"),
            "2: expected in 'site' one of the elements title, owner, limit, "
            "racks; found 'tilte'");
  EXPECT_EQ(words_inside("<rak/>"),
            "2: expected in 'racks' the element 'rack'; found 'rak'");
  EXPECT_EQ(words_inside("<rack name='a'><b/></rack>"),
            "2: expected no element in 'rack'; found 'b'");
}

TEST(schema_words, say_that_an_element_stands_twice) {
  EXPECT_EQ(words("<site><title>t</title>\n<title>u</title></site>"),
            "2: expected 'title' only once in 'site'");
}

TEST(schema_words, tell_an_element_from_its_namesake_in_a_namespace) {
  EXPECT_EQ(words("<site><title>t</title>\n<owner xmlns='urn:x'/></site>"),
            "2: expected in 'site' one of the elements title, owner, limit, "
            "racks; found '{urn:x}owner'");
  EXPECT_EQ(words("<site xmlns='urn:x'/>"),
            "1: expected at the root the element 'site'; found '{urn:x}site'");
}

TEST(schema_words, say_which_element_is_missing) {
  EXPECT_EQ(words("<site><owner>o</owner></site>"),
            "1: expected in 'site' the element 'title'");
}

TEST(schema_words, say_which_attributes_there_are) {
  EXPECT_EQ(words_inside("<rack name='a' nmae='b'/>"),
            "2: expected in 'rack' one of the attributes name, undocumented; "
            "found 'nmae'");
  EXPECT_EQ(words("<site><title>t</title><limit units='kg'>1</limit></site>"),
            "1: expected in 'limit' the attribute 'unit'; found 'units'");
  EXPECT_EQ(words("<site><title a='b'>t</title></site>"),
            "1: expected no attribute in 'title'; found 'a'");
  EXPECT_EQ(words("<site a='b'><title>t</title></site>"),
            "1: expected no attribute in 'site'; found 'a'");
}

TEST(schema_words, say_which_attribute_is_missing) {
  EXPECT_EQ(words_inside("<rack/>"),
            "2: expected in 'rack' the attribute 'name'");
}

TEST(schema_words, quote_the_documentation_of_a_type) {
  EXPECT_EQ(words("<site><title> </title></site>"),
            "1: expected in 'title': some text; found ''");
  EXPECT_EQ(words("<site><title>t</title><limit>-1</limit></site>"),
            "1: expected in 'limit': a count; found '-1'");
  EXPECT_EQ(words("<site><title>t</title><limit>one</limit></site>"),
            "1: expected in 'limit': a count; found 'one'");
  EXPECT_EQ(words("<site><title>t</title><limit unit='g'>1</limit></site>"),
            "1: expected in 'unit' of 'limit': kg or lb; found 'g'");
  EXPECT_EQ(words_inside("<rack name=''/>"),
            "2: expected in 'name' of 'rack': some text; found ''");
}

TEST(schema_words, pass_on_the_librarys_words_where_there_are_no_others) {
  EXPECT_EQ(words_inside("<rack name='a' undocumented='x'/>"),
            "2: Element 'rack', attribute 'undocumented': 'x' is not a valid "
            "value of the atomic type 'xs:int'.");
}

TEST(schema_words, say_what_may_not_stand_twice) {
  EXPECT_EQ(words_inside("<rack name='a'/>\n<rack name='b'/>\n"
                         "<rack name=' a '/>"),
            "4: expected in 'rack': a name of its own; found 'a' again");
}

// What stands twice is reported at the end of its scope, behind later faults.
TEST(schema_words, keep_to_the_order_of_lines) {
  EXPECT_EQ(words_inside("<rack name='a'/>\n<rack name='a'/>\n<rak/>"),
            "3: expected in 'rack': a name of its own; found 'a' again");
}

TEST(schema_words, say_where_text_is_out_of_place) {
  EXPECT_EQ(words_inside("stray"),
            "1: expected only elements in 'racks'; found the text 'stray'");
  EXPECT_EQ(words_inside("<rack name='a'>stray</rack>"),
            "2: expected nothing in 'rack'; found the text 'stray'");
}

TEST(schema_words, say_where_an_element_is_out_of_place) {
  EXPECT_EQ(words("<site><title>t\n<b/></title></site>"),
            "2: expected only text in 'title'; found 'b'");
  EXPECT_EQ(words("<site><title>t</title><limit>1\n<b/></limit></site>"),
            "2: expected only text in 'limit'; found 'b'");
}

TEST(schema_words, never_hold_more_of_a_value_than_fits_a_line) {
  const std::string said = words_inside("<rack name='a' undocumented='" +
                                        std::string(100000, 'x') + "&#10;'/>");
  EXPECT_LT(said.size(), 300U);
}

}  // namespace
}  // namespace zelk::xml
