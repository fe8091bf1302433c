#include "src/common/xml/xml.h"

#include <chrono>
#include <filesystem>
#include <string>
#include <vector>

#include <gtest/gtest.h>
#include <libxml/parser.h>
#include <libxml/tree.h>
#include <libxml/xmlerror.h>

#include "src/common/log/captured_log.h"
#include "src/common/xml/document.h"
#include "src/common/xml/query.h"
#include "src/common/xml/test_files.h"

namespace zelk::xml {
namespace {

using lines = std::vector<std::string>;

// A list of items, each with an optional number and any text.
constexpr char schema[] = R"(<?xml version="1.0"?>
<xs:schema xmlns:xs="http://www.w3.org/2001/XMLSchema">
  <xs:element name="list"><xs:complexType><xs:sequence>
    <xs:element name="item" minOccurs="0" maxOccurs="unbounded">
      <xs:complexType><xs:simpleContent><xs:extension base="xs:string">
        <xs:attribute name="number" type="number"/>
      </xs:extension></xs:simpleContent></xs:complexType>
    </xs:element>
  </xs:sequence></xs:complexType></xs:element>
  <xs:simpleType name="number">
    <xs:annotation><xs:documentation>a number</xs:documentation></xs:annotation>
    <xs:restriction base="xs:int"/>
  </xs:simpleType>
</xs:schema>
)";

class open_and_validate : public testing::Test {
 protected:
  // Reads `text` and returns the log lines; the file's folder is left out.
  lines complaints(std::string_view text) {
    return complaints_of(files_.write("f.xml", text));
  }

  lines complaints_of(const std::string& path) {
    const log::captured_log log;
    testing::internal::CaptureStderr();
    xmlDoc* opened = nullptr;
    const bool valid = xml::open_and_validate(path, schema_, opened);
    document_.reset(opened);
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
    EXPECT_EQ(valid, document_ != nullptr);
    EXPECT_EQ(log.lines().size(), valid ? 0U : 1U);
    return without_folder(log.lines());
  }

  lines without_folder(lines all) const {
    const std::string folder = files_.path("");
    for (std::string& line : all)
      if (line.starts_with(folder)) line.erase(0, folder.size());
    return all;
  }

  const xmlNode& document_root() const { return *root(*document_); }

  test_files files_;
  std::string schema_ = files_.write("list.xsd", schema);
  unique_doc document_;
};

TEST_F(open_and_validate, hands_over_a_valid_document) {
  EXPECT_EQ(complaints("<list><item number='1'>a</item></list>"), lines{});
  EXPECT_EQ(content(*child(&document_root(), "item")), "a");
}

TEST_F(open_and_validate, clears_the_document_on_failure) {
  const log::captured_log log;
  xmlDoc* document = nullptr;
  ASSERT_TRUE(xml::open_and_validate(files_.write("good.xml", "<list/>"),
                                     schema_, document));
  const unique_doc first(document);
  EXPECT_FALSE(xml::open_and_validate(files_.write("bad.xml", "<lost/>"),
                                      schema_, document));
  EXPECT_EQ(document, nullptr);
}

TEST_F(open_and_validate, names_the_line_and_what_was_expected) {
  EXPECT_EQ(complaints("<list>\n<item/>\n<itm/>\n</list>"),
            lines{"f.xml:3: expected in 'list' the element 'item'; found "
                  "'itm'"});
}

TEST_F(open_and_validate, tells_the_first_of_many_faults) {
  EXPECT_EQ(
      complaints("<list>\n<item number='a'/>\n<itm/><item x='1'/></list>"),
      lines{"f.xml:2: expected in 'number' of 'item': a number; found "
            "'a'"});
}

// 16 bits hold no line above 65,535.
TEST_F(open_and_validate, counts_lines_beyond_sixteen_bits) {
  const std::string many(70000, '\n');
  EXPECT_EQ(complaints("<list>" + many + "<itm/>\n</list>"),
            lines{"f.xml:70001: expected in 'list' the element 'item'; found "
                  "'itm'"});
  EXPECT_EQ(complaints("<list>" + many + "<item></list>"),
            lines{"f.xml:70001: not well-formed: Opening and ending tag "
                  "mismatch: item line 70001 and list"});
}

TEST_F(open_and_validate, takes_comments_instructions_and_cdata_anywhere) {
  EXPECT_EQ(complaints("<?xml version='1.0' encoding='utf-8'?><!--a--><?b c?>"
                       "<list><!--d--><item><![CDATA[<e>]]><!--f-->g</item>"
                       "<?h?></list><!--i-->"),
            lines{});
  EXPECT_EQ(content(*child(&document_root(), "item")), "<e>g");
}

TEST_F(open_and_validate, takes_a_byte_order_mark) {
  EXPECT_EQ(complaints("\xef\xbb\xbf<list/>"), lines{});
}

// Editors find the schema of a file by this attribute; it must lead us nowhere.
TEST_F(open_and_validate, ignores_where_a_document_says_its_schema_is) {
  EXPECT_EQ(
      complaints("<list xmlns:xsi='http://www.w3.org/2001/XMLSchema-instance' "
                 "xsi:noNamespaceSchemaLocation='http://127.0.0.1:9/x.xsd'/>"),
      lines{});
  EXPECT_EQ(
      complaints("<lost xmlns:xsi='http://www.w3.org/2001/XMLSchema-instance' "
                 "xsi:noNamespaceSchemaLocation='" +
                 files_.write("lost.xsd",
                              "<xs:schema xmlns:xs='http://www.w3.org/2001/"
                              "XMLSchema'><xs:element name='lost'/>"
                              "</xs:schema>") +
                 "'/>"),
      lines{"f.xml:1: expected at the root the element 'list'; found 'lost'"});
}

TEST_F(open_and_validate, refuses_text_that_is_not_well_formed) {
  struct {
    const char* text;
    const char* complaint;
  } const cases[] = {
      {"", "f.xml:1: expected an XML document, found an empty file"},
      {"\n \n", "f.xml:3: expected an XML document"},
      {"plain words", "f.xml:1: expected an XML document"},
      {"<list>\n<item>a & b</item></list>",
       "f.xml:2: expected &amp; in place of a bare '&'"},
      {"<list>\n<item>a&b</item></list>",
       "f.xml:2: expected &amp; in place of a bare '&'"},
      {"<list>\n<item>&none;</item></list>",
       "f.xml:2: not well-formed: Entity 'none' not defined"},
      {"<list>\n<item>\xe9</item></list>", "f.xml:2: expected UTF-8 text"},
      {"<list>\n<item>&#1;</item></list>",
       "f.xml:2: not well-formed: xmlParseCharRef: invalid xmlChar value 1"},
      {"<list/>\n<list/>",
       "f.xml:2: not well-formed: Extra content at the end of the document"},
      {"<list>\n<n:item/></list>",
       "f.xml:2: not well-formed: Namespace prefix n on item is not defined"},
      {"<list>\n<item number='1' number='1'/></list>",
       "f.xml:2: not well-formed: Attribute number redefined"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.text);
    EXPECT_EQ(complaints(c.text), lines{c.complaint});
  }
}

TEST_F(open_and_validate, refuses_other_encodings) {
  const std::string zero("<list>\n<item>\0</item></list>", 28);
  EXPECT_EQ(complaints(zero),
            lines{"f.xml:2: expected UTF-8 text, found a zero byte"});
  const std::string utf16("\xff\xfe<\0l\0/\0>\0", 10);
  EXPECT_EQ(complaints(utf16),
            lines{"f.xml:1: expected UTF-8 text, found a zero byte"});
  for (const char* name : {"ISO-8859-1", "UTF-7", "UTF-16", "US-ASCII"}) {
    SCOPED_TRACE(name);
    EXPECT_EQ(complaints("<?xml version='1.0' encoding='" + std::string(name) +
                         "'?>\n<list/>"),
              lines{"f.xml:1: expected the encoding UTF-8"});
  }
}

TEST_F(open_and_validate, refuses_every_document_type_declaration) {
  const char* const cases[] = {
      "<!DOCTYPE list><list/>",
      "<!DOCTYPE list [<!ENTITY a 'b'>]><list>&a;</list>",
      "<!DOCTYPE list SYSTEM 'http://127.0.0.1:9/list.dtd'><list/>",
      "<!DOCTYPE list PUBLIC '-//x' 'file:///etc/passwd'><list/>",
      "<!DOCTYPE list [<!ENTITY a SYSTEM '/etc/passwd'>]><list>&a;</list>",
      "<!DOCTYPE list [<!ENTITY % a SYSTEM 'file:///etc/passwd'> %a;]><list/>",
      "<!DOCTYPE list [<!ATTLIST item number CDATA '7'>]><list><item/></list>",
  };
  for (const char* text : cases) {
    SCOPED_TRACE(text);
    EXPECT_EQ(complaints(text),
              lines{"f.xml:1: expected no document type declaration "
                    "(<!DOCTYPE)"});
  }
}

// Ten entities of ten entities of ...: 10^12 bytes when they are expanded.
TEST_F(open_and_validate, does_not_laugh_a_billion_times) {
  std::string text = "<!DOCTYPE list [<!ENTITY e0 '0123456789'>\n";
  for (int i = 1; i < 12; ++i) {
    text += "<!ENTITY e" + std::to_string(i) + " '";
    for (int k = 0; k < 10; ++k)
      text += "&e" + std::to_string(i - 1) + ";";
    text += "'>\n";
  }
  text += "]>\n<list><item number='&e11;'>&e11;</item></list>";
  EXPECT_EQ(complaints(text), lines{"f.xml:1: expected no document type "
                                    "declaration (<!DOCTYPE)"});
}

TEST_F(open_and_validate, refuses_ten_thousand_levels) {
  std::string text;
  for (int i = 0; i < 10000; ++i)
    text += "<list>\n";
  for (int i = 0; i < 10000; ++i)
    text += "</list>";
  EXPECT_EQ(complaints(text),
            lines{"f.xml:65: expected elements nested at most 64 deep"});
}

TEST_F(open_and_validate, takes_as_many_levels_as_it_says) {
  std::string text;
  for (int i = 0; i < 64; ++i)
    text += "<list>";
  for (int i = 0; i < 64; ++i)
    text += "</list>";
  EXPECT_EQ(complaints(text), lines{"f.xml:1: expected in 'list' the element "
                                    "'item'; found 'list'"});
}

// The parser compares all attributes of an element with one another: four
// megabytes of them would take it ten minutes.
TEST_F(open_and_validate, refuses_an_endless_start_tag) {
  std::string text = "<list>\n<item ";
  for (int i = 0; text.size() < 4000000; ++i)
    text += "a" + std::to_string(i) + "='>' ";
  const lines expected = {
      "f.xml:2: expected a start tag of at most 8192 bytes"};
  EXPECT_EQ(complaints(text + "/></list>"), expected);
  EXPECT_EQ(complaints(text), expected);
}

TEST_F(open_and_validate, takes_long_text_between_tags) {
  EXPECT_EQ(
      complaints("<list><item number='1' >" + std::string(1000000, '=') +
                 "</item><!-- < " + std::string(10000, 'x') + "--></list>"),
      lines{});
}

// A million faults are no reason to be slow, nor to say more than one of them.
TEST_F(open_and_validate, gets_through_the_largest_file_of_faults) {
  std::string text = "<list>\n";
  while (text.size() < 4000000)
    text += "<x/>";
  EXPECT_EQ(complaints(text + "</list>"),
            lines{"f.xml:2: expected in 'list' the element 'item'; found 'x'"});
}

TEST_F(open_and_validate, says_of_a_file_that_it_cannot_be_read) {
  EXPECT_EQ(complaints_of(files_.path("none.xml")),
            lines{"none.xml: cannot be read (2): No such file or directory"});
  std::filesystem::create_directory(files_.path("folder"));
  EXPECT_EQ(complaints_of(files_.path("folder")),
            lines{"folder: expected a regular file, found a directory"});
  const std::string large = files_.write("large.xml", "<list/>");
  std::filesystem::resize_file(large, 104857600);
  EXPECT_EQ(complaints_of(large),
            lines{"large.xml: expected a file of at most 4194304 bytes"});
}

TEST_F(open_and_validate, says_what_is_wrong_with_the_schema_file) {
  schema_ = files_.path("none.xsd");
  EXPECT_EQ(complaints("<list/>"),
            lines{"none.xsd: cannot be read (2): No such file or directory"});
  schema_ = files_.write("list.xsd", "<schema>\n");
  EXPECT_EQ(complaints("<list/>"),
            lines{"list.xsd:2: not well-formed: Premature end of data in tag "
                  "schema line 1"});
  schema_ = files_.write("list.xsd", "<list/>");
  const lines said = complaints("<list/>");
  EXPECT_TRUE(said[0].starts_with("list.xsd")) << said[0];
  EXPECT_NE(said[0].find("expected a schema: "), std::string::npos) << said[0];
}

TEST_F(open_and_validate, loads_nothing_for_a_schema_but_its_file) {
  files_.write("more.xsd", schema);
  schema_ = files_.write(
      "list.xsd",
      "<xs:schema xmlns:xs='http://www.w3.org/2001/XMLSchema'>\n"
      "<xs:include schemaLocation='more.xsd'/>\n"
      "<xs:import namespace='urn:x' schemaLocation='http://127.0.0.1:9/x'/>\n"
      "</xs:schema>");
  const lines said = complaints("<list/>");
  EXPECT_TRUE(said[0].starts_with("list.xsd:2: expected a schema: "))
      << said[0];
}

TEST_F(open_and_validate, tells_of_the_file_before_its_schema) {
  schema_ = files_.path("none.xsd");
  EXPECT_EQ(complaints("<list>"),
            lines{"f.xml:1: not well-formed: Premature end of data in tag list "
                  "line 1"});
}

TEST_F(open_and_validate, leaves_the_settings_of_the_library_as_they_were) {
  const auto loader = xmlGetExternalEntityLoader();
  const auto structured = xmlStructuredError;
  const auto generic = xmlGenericError;
  complaints("<list/>");
  complaints("<lost/>");
  EXPECT_EQ(xmlGetExternalEntityLoader(), loader);
  EXPECT_EQ(xmlStructuredError, structured);
  EXPECT_EQ(xmlGenericError, generic);
}

}  // namespace
}  // namespace zelk::xml
