// The shipped schemas, seen by xmllint(1): a site that checks its files in an
// editor or in a pipeline must hear the same as from us.

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

#include <gtest/gtest.h>
#include <libxml/tree.h>

#include "src/common/preproc/test_tree.h"
#include "src/common/xml/document.h"
#include "src/common/xml/xml.h"

namespace zelk::preproc {
namespace {

constexpr char configuration[] = "share/zelkara/zelk.xsd";
constexpr char options[] = "provider/provider.xsd";
constexpr char description[] = "share/zelkara/description.xsd";

class schemas : public test_tree {
 protected:
  static bool have_xmllint() {
    return std::system("xmllint --version >/dev/null 2>&1") == 0;
  }

  bool xmllint_takes(const std::string& path, const std::string& schema) const {
    const std::string command = "xmllint --nonet --noout --schema " +
                                in_root(schema) + " " + path +
                                " >/dev/null 2>&1";
    return std::system(command.c_str()) == 0;
  }

  bool we_take(const std::string& path, const std::string& schema) const {
    xmlDoc* document = nullptr;
    const bool valid = xml::open_and_validate(path, in_root(schema), document);
    const xml::unique_doc owner(document);
    return valid;
  }

  std::string shared_part(const std::string& schema) const {
    std::ifstream in(in_root(schema));
    const std::string text{std::istreambuf_iterator<char>(in), {}};
    const std::size_t at = text.find("<!-- The option sets.");
    return at == text.npos ? schema : text.substr(at);
  }
};

TEST_F(schemas, say_the_same_of_option_sets) {
  EXPECT_EQ(shared_part(configuration), shared_part(options));
}

struct schema_case {
  const char* schema;
  bool valid;
  const char* text;
};

constexpr schema_case schema_cases[] = {
    {configuration, true, "<zelk/>"},
    {configuration, true,
     "<zelk><output_directory> /a </output_directory></zelk>"},
    {configuration, true,
     "<zelk><!--a--><?b?><provider_options/><output_directory>/a"
     "</output_directory></zelk>"},
    {configuration, false, "<zelk>text</zelk>"},
    {configuration, false, "<zelk><other/></zelk>"},
    {configuration, false, "<zelk a='b'/>"},
    {configuration, false, "<zelk xmlns='urn:x'/>"},
    {configuration, false, "<provider_options/>"},
    {configuration, false,
     "<zelk><provider_options/><provider_options/></zelk>"},
    {configuration, false, "<zelk><output_directory/></zelk>"},
    {configuration, false,
     "<zelk><output_directory>a</output_directory></zelk>"},
    {configuration, false, "<zelk>"},
    {configuration, false, ""},
    {options, true, "<provider_options/>"},
    {options, true,
     "<provider_options><provider name='p'/></provider_options>"},
    {options, true,
     "<provider_options><provider name='p'><option id='a' timeout='5' "
     "scale='squared'><variable name='A'> </variable></option>"
     "<option id='A'/></provider><provider name='q'><option id='a'/>"
     "</provider></provider_options>"},
    {options, false, "<zelk/>"},
    {options, false, "<provider_options><provider/></provider_options>"},
    {options, false,
     "<provider_options><provider name='p'/><provider name=' p '/>"
     "</provider_options>"},
    {options, false,
     "<provider_options><provider name='p'><option id='a'/>"
     "<option id='a '/></provider></provider_options>"},
    {options, false,
     "<provider_options><provider name='p'><option id='a' timeout='0'/>"
     "</provider></provider_options>"},
    {options, false,
     "<provider_options><provider name='p'><option id='a'>"
     "<variable name='ZELK_A'/></option></provider></provider_options>"},
    {options, false,
     "<provider_options><provider name='p'><option id='a'>"
     "<variable name='A'/><variable name='A'/></option></provider>"
     "</provider_options>"},
    {description, true, "<provider><command>x</command></provider>"},
    {description, true,
     "<provider version='+3' name='a'><timeout scale='linear'>-1</timeout>"
     "<requires min_nodes='+5'/><encoding>raw</encoding><command>x</command>"
     "<description/></provider>"},
    {description, false, "<provider/>"},
    {description, false, "<provider><command> </command></provider>"},
    {description, false,
     "<provider><command>x</command><command>x</command></provider>"},
    {description, false,
     "<provider><command>x</command><timeout>a</timeout></provider>"},
    {description, false,
     "<provider><command>x</command><requires min_nodes='65536'/>"
     "</provider>"},
    {description, false,
     "<provider><command>x</command><requires architecture='X86_64'/>"
     "</provider>"},
    {description, false,
     "<provider version='2147483648'><command>x</command></provider>"},
    {description, false, "<provider><command>x<a/></command></provider>"},
};

TEST_F(schemas, agree_with_xmllint) {
  if (!have_xmllint()) GTEST_SKIP() << "no xmllint here";
  for (const schema_case& c : schema_cases) {
    SCOPED_TRACE(c.text);
    const std::string path = write("case.xml", c.text);
    EXPECT_EQ(we_take(path, c.schema), c.valid);
    EXPECT_EQ(xmllint_takes(path, c.schema), c.valid);
  }
}

TEST_F(schemas, take_the_shipped_descriptions) {
  for (const char* folder : {"etc/providers", "share/zelkara/examples"})
    for (const auto& entry : std::filesystem::directory_iterator(
             std::string(ZELK_SOURCE_DIR "/") + folder))
      EXPECT_TRUE(we_take(entry.path(), description)) << entry.path();
  EXPECT_EQ(said(), lines{});
}

TEST_F(schemas, take_the_shipped_configuration_by_xmllint_too) {
  if (!have_xmllint()) GTEST_SKIP() << "no xmllint here";
  EXPECT_TRUE(xmllint_takes(ZELK_SOURCE_DIR "/etc/zelk.xml", configuration));
}

}  // namespace
}  // namespace zelk::preproc
