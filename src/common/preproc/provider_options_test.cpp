#include "src/common/preproc/provider_options.h"

#include <string>
#include <vector>

#include <gtest/gtest.h>
#include <libxml/tree.h>
#include <libxml/xpath.h>

#include "src/common/preproc/preproc.h"
#include "src/common/preproc/test_tree.h"
#include "src/common/xml/document.h"
#include "src/common/xml/xml.h"

namespace zelk::preproc {
namespace {

class update_provider_options : public test_tree {
 protected:
  void configure(const std::string& providers) {
    ASSERT_EQ(
        read_config(config_,
                    write("zelk.xml", "<zelk><provider_options>" + providers +
                                          "</provider_options></zelk>")),
        0);
  }

  // Opens an options file as the driver does, and returns the answers of both
  // checks.
  bool open(const std::string& providers) {
    const std::string path = write(
        "over.xml", "<provider_options>" + providers + "</provider_options>");
    xmlDoc* opened = nullptr;
    const bool valid =
        xml::open_and_validate(path, in_root("provider/provider.xsd"), opened);
    document_.reset(opened);
    return valid && provider_options_valid(document_.get(), path);
  }

  void merge() {
    xmlXPathContext* context = xmlXPathNewContext(document_.get());
    preproc::update_provider_options(config_, context);
    ASSERT_NE(context, nullptr);
    xmlXPathFreeContext(context);
  }

  void merge(const std::string& providers) {
    ASSERT_TRUE(open(providers));
    merge();
  }

  // Each option set of a provider as "id=text" or "id@timeout=text".
  lines options(const std::string& key) const {
    lines all;
    for (const auto& set : populate_option_vars_map(config_, key))
      all.push_back(set.option_id +
                    (set.timeout ? "@" + std::to_string(set.timeout) : "") +
                    "=" + set.option_text);
    return all;
  }

 private:
  xml::unique_doc document_;
};

constexpr char stream[] =
    "<provider name='stream'>"
    "<option id='quick' timeout='120'><variable name='A'>1</variable></option>"
    "<option id='full'><variable name='A'>2</variable></option>"
    "</provider>";

TEST_F(update_provider_options, replaces_an_option_in_its_place) {
  configure(stream);
  merge(
      "<provider name='stream'><option id='quick' timeout='900'>"
      "<variable name='B'>3</variable></option></provider>");
  EXPECT_EQ(options("STREAM"), (lines{"quick@900=B='3' ", "full=A='2' "}));
  EXPECT_EQ(said(), lines{});
}

// Nothing of the old option is left, not even what the new one does not name.
TEST_F(update_provider_options, replaces_an_option_wholly) {
  configure(stream);
  merge("<provider name='stream'><option id='quick'/></provider>");
  EXPECT_EQ(options("STREAM"), (lines{"quick=", "full=A='2' "}));
}

TEST_F(update_provider_options, appends_new_options_in_order) {
  configure(stream);
  merge(
      "<provider name='stream'><option id='b'/><option id='full'/>"
      "<option id='a'/></provider>");
  EXPECT_EQ(options("STREAM"),
            (lines{"quick@120=A='1' ", "full=", "b=", "a="}));
}

TEST_F(update_provider_options, adds_a_provider) {
  configure(stream);
  merge("<provider name='memory'><option id='a'/></provider>");
  EXPECT_EQ(options("MEMORY"), lines{"a="});
  EXPECT_EQ(options("STREAM"), (lines{"quick@120=A='1' ", "full=A='2' "}));
}

TEST_F(update_provider_options, finds_a_provider_without_regard_to_case) {
  configure(stream);
  merge("<provider name='STREAM'><option id='full'/></provider>");
  EXPECT_EQ(options("STREAM"), (lines{"quick@120=A='1' ", "full="}));
  EXPECT_EQ(config_.provider_configs.size(), 1U);
}

TEST_F(update_provider_options, tells_ids_apart_by_case) {
  configure(stream);
  merge("<provider name='stream'><option id='Full'/></provider>");
  EXPECT_EQ(options("STREAM"),
            (lines{"quick@120=A='1' ", "full=A='2' ", "Full="}));
}

TEST_F(update_provider_options, works_without_a_configured_provider) {
  merge(stream);
  EXPECT_EQ(options("STREAM"), (lines{"quick@120=A='1' ", "full=A='2' "}));
}

TEST_F(update_provider_options, changes_nothing_when_it_has_nothing_to_say) {
  configure(stream);
  merge("");
  merge("<provider name='stream'/>");
  EXPECT_EQ(options("STREAM"), (lines{"quick@120=A='1' ", "full=A='2' "}));
}

TEST_F(update_provider_options, leaves_a_copy_of_the_configuration_alone) {
  configure(stream);
  const Config copy = config_;
  merge("<provider name='stream'><option id='full'/></provider>");
  EXPECT_EQ(populate_option_vars_map(copy, "STREAM").at(1).option_text,
            "A='2' ");
}

TEST_F(update_provider_options, is_refused_by_the_schema_first) {
  EXPECT_FALSE(open("<provider name='p'><option/></provider>"));
  EXPECT_EQ(said(),
            lines{"over.xml:1: expected in 'option' the attribute 'id'"});
}

// What the schema cannot say: a run with other options than were meant would be
// worse than none.
TEST_F(update_provider_options, is_refused_for_what_no_schema_can_say) {
  struct {
    const char* providers;
    const char* complaint;
  } const cases[] = {
      {"<provider name='p'><option id='a' scale='linear'/></provider>",
       "over.xml:1: expected in 'option' the attribute 'timeout' beside "
       "'scale'"},
      {"<provider name='p'/>\n<provider name='P'/>",
       "over.xml:2: expected in 'provider': a name that no other provider has, "
       "in upper or lower case; found 'P' again"},
      {"<provider name='p'><option id='\xc3\xbc\xc3\xbc\xc3\xbc\xc3\xbc\xc3\xbc"
       "12345678901234567890123456789012345678901234567890'/></provider>",
       "over.xml:1: expected in 'id' of 'option': 1 to 59 bytes of text; found "
       "60 bytes"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.providers);
    EXPECT_FALSE(open(c.providers));
    EXPECT_EQ(said().back(), c.complaint);
  }
}

TEST_F(update_provider_options, merges_nothing_of_a_refused_document) {
  configure(stream);
  EXPECT_FALSE(
      open("<provider name='stream'><option id='full'/></provider>"
           "<provider name='p'><option id='a' scale='linear'/>"
           "</provider>"));
  merge();
  EXPECT_EQ(options("STREAM"), (lines{"quick@120=A='1' ", "full=A='2' "}));
  EXPECT_EQ(options("P"), lines{});
  EXPECT_EQ(said().size(), 2U);
}

TEST_F(update_provider_options, refuses_a_configuration_in_its_place) {
  const std::string path = write("zelk.xml", "<zelk/>");
  xmlDoc* document = nullptr;
  EXPECT_FALSE(
      xml::open_and_validate(path, in_root("provider/provider.xsd"), document));
  EXPECT_EQ(said(), lines{"zelk.xml:1: expected at the root the element "
                          "'provider_options'; found 'zelk'"});
}

TEST(populate_option_vars_map, has_nothing_for_an_entry_without_a_record) {
  Config config;
  config.provider_configs["P"] = nullptr;
  EXPECT_TRUE(populate_option_vars_map(config, "P").empty());
}

}  // namespace
}  // namespace zelk::preproc
