#include <climits>
#include <filesystem>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "src/common/preproc/preproc.h"
#include "src/common/preproc/test_tree.h"

namespace zelk::preproc {
namespace {

using option_sets = std::vector<ProcessedProviderAttributes>;

class read_config : public test_tree {
 protected:
  int read(std::string_view text) {
    return preproc::read_config(config_, write("zelk.xml", text));
  }

  // Reads a configuration with these children of provider_options; their first
  // line is line 2 of the file.
  int read_options(const std::string& providers) {
    return read("<zelk><provider_options>\n" + providers +
                "\n</provider_options></zelk>");
  }

  int read_option(const std::string& option) {
    return read_options("<provider name='p'>" + option + "</provider>");
  }

  option_sets options(const std::string& key) const {
    return populate_option_vars_map(config_, key);
  }
};

TEST_F(read_config, takes_the_shortest_configuration) {
  EXPECT_EQ(read("<zelk/>"), 0);
  EXPECT_EQ(said(), lines{});
  EXPECT_EQ(config_.name, "health");
  EXPECT_EQ(config_.output_directory, in_root("var/spool"));
  EXPECT_TRUE(config_.provider_configs.empty());
}

TEST_F(read_config, takes_the_example_of_the_manual) {
  EXPECT_EQ(read(R"(<?xml version="1.0" encoding="UTF-8"?>
<zelk>
  <output_directory>/var/spool/zelkara</output_directory>
  <provider_options>
    <provider name="stream">
      <option id="quick" timeout="120" scale="constant">
        <variable name="ARRAY_MIB">64</variable>
      </option>
      <option id="full" timeout="600">
        <variable name="ARRAY_MIB">4096</variable>
        <variable name="LABEL">it's "whole" memory</variable>
      </option>
    </provider>
  </provider_options>
</zelk>
)"),
            0);
  EXPECT_EQ(said(), lines{});
  EXPECT_STREQ(config_.output_directory, "/var/spool/zelkara");
  const option_sets sets = options("STREAM");
  ASSERT_EQ(sets.size(), 2U);
  EXPECT_EQ(sets[0].option_id, "quick");
  EXPECT_EQ(sets[0].timeout, 120);
  EXPECT_EQ(sets[0].scale_type, ScaleType::CONSTANT);
  EXPECT_EQ(sets[0].option_text, "ARRAY_MIB='64' ");
  EXPECT_EQ(sets[1].option_id, "full");
  EXPECT_EQ(sets[1].timeout, 600);
  EXPECT_EQ(sets[1].option_text,
            "ARRAY_MIB='4096' LABEL='it'\\''s \"whole\" memory' ");
  EXPECT_EQ(sets[1].provider_name, "stream");
}

TEST_F(read_config, takes_the_shipped_configuration) {
  EXPECT_EQ(preproc::read_config(config_, ZELK_SOURCE_DIR "/etc/zelk.xml"), 0);
  EXPECT_EQ(said(), lines{});
  EXPECT_EQ(config_.output_directory, in_root("var/spool"));
  EXPECT_TRUE(config_.provider_configs.empty());
}

TEST_F(read_config, takes_children_in_any_order) {
  EXPECT_EQ(read("<zelk><provider_options><provider name='p'><option id='a'/>"
                 "</provider></provider_options>"
                 "<output_directory>/a</output_directory></zelk>"),
            0);
  EXPECT_STREQ(config_.output_directory, "/a");
  EXPECT_EQ(options("P").size(), 1U);
}

TEST_F(read_config, keeps_the_order_of_option_sets) {
  EXPECT_EQ(read_option("<option id='z'/><option id='a'/><option id='m'/>"), 0);
  const option_sets sets = options("P");
  ASSERT_EQ(sets.size(), 3U);
  EXPECT_EQ(sets[0].option_id, "z");
  EXPECT_EQ(sets[1].option_id, "a");
  EXPECT_EQ(sets[2].option_id, "m");
}

TEST_F(read_config, leaves_to_the_description_what_an_option_does_not_say) {
  EXPECT_EQ(read_option("<option id='a'/>"), 0);
  const option_sets sets = options("P");
  ASSERT_EQ(sets.size(), 1U);
  EXPECT_EQ(sets[0].timeout, 0);
  EXPECT_EQ(sets[0].scale_type, ScaleType::CONSTANT);
  EXPECT_EQ(sets[0].option_text, "");
}

TEST_F(read_config, reads_every_scale) {
  struct {
    const char* name;
    ScaleType scale;
  } const cases[] = {{"constant", ScaleType::CONSTANT},
                     {"linear", ScaleType::LINEAR},
                     {"squared", ScaleType::SQUARED},
                     {"logarithmic", ScaleType::LOGARITHMIC}};
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    EXPECT_EQ(read_option("<option id='a' timeout='1' scale='" +
                          std::string(c.name) + "'/>"),
              0);
    EXPECT_EQ(options("P").at(0).scale_type, c.scale);
  }
}

TEST_F(read_config, matches_a_provider_without_regard_to_case) {
  EXPECT_EQ(read_options("<provider name='Stream_2'><option id='a'/>"
                         "</provider>"),
            0);
  EXPECT_EQ(options("STREAM_2").size(), 1U);
  EXPECT_EQ(options("Stream_2").size(), 0U);
  EXPECT_EQ(options("MEMORY").size(), 0U);
}

// A site that comments out the last option of a provider gets it run once with
// none, as if the provider were not named.
TEST_F(read_config, takes_a_provider_without_options) {
  EXPECT_EQ(read_options("<provider name='p'><!-- <option id='a'/> -->"
                         "</provider>"),
            0);
  EXPECT_EQ(options("P").size(), 0U);
}

TEST_F(read_config, takes_no_white_space_for_part_of_a_value) {
  EXPECT_EQ(read("<zelk><output_directory>\n\t/a b\n</output_directory>"
                 "<provider_options><provider name=' p '><option id=' a\tb '"
                 " timeout=' 5 ' scale=' linear '/></provider>"
                 "</provider_options></zelk>"),
            0);
  EXPECT_STREQ(config_.output_directory, "/a b");
  EXPECT_EQ(options("P").at(0).option_id, "a b");
  EXPECT_EQ(options("P").at(0).timeout, 5);
  EXPECT_EQ(options("P").at(0).scale_type, ScaleType::LINEAR);
}

TEST_F(read_config, keeps_every_byte_of_a_variable) {
  EXPECT_EQ(read_option("<option id='a'>"
                        "<variable name='A'> \n\tx  y </variable>"
                        "<variable name='B'/>"
                        "<variable name='C'>&lt;&amp;&gt;&#13;</variable>"
                        "<variable name='D'>1<!-- 2 -->3<![CDATA[ <4> ]]>"
                        "</variable>"
                        "<variable name='E'>\xe2\x82\xac</variable></option>"),
            0);
  EXPECT_EQ(options("P").at(0).option_text,
            "A=' \n\tx  y ' B='' C='<&>\r' D='13 <4> ' E='\xe2\x82\xac' ");
}

TEST_F(read_config, takes_the_largest_values) {
  const std::string id(59, 'i');
  EXPECT_EQ(
      read_option("<option id='" + id + "' timeout='9223372036854775807'/>"),
      0);
  EXPECT_EQ(options("P").at(0).option_id, id);
  EXPECT_EQ(options("P").at(0).timeout, 9223372036854775807);
}

TEST_F(read_config, takes_names_that_only_begin_like_our_own) {
  for (const char* name :
       {"_", "a", "Z", "ZE", "ZEL", "ZELK", "ZELKA", "ZELK1", "ZEL_K", "zelk_a",
        "Zelk_a", "_ZELK_A", "ZZELK_", "ZELLK_", "A1_b"}) {
    SCOPED_TRACE(name);
    EXPECT_EQ(read_option("<option id='a'><variable name='" +
                          std::string(name) + "'>1</variable></option>"),
              0);
    EXPECT_EQ(options("P").at(0).option_text, std::string(name) + "='1' ");
  }
}

struct bad_options {
  const char* providers;
  const char* complaint;
};

constexpr char variable_names[] =
    "expected in 'name' of 'variable': letters, digits and _ , with no digit "
    "and no ZELK_ in front; found '";

TEST_F(read_config, refuses_a_bad_name_of_a_variable) {
  for (const char* name : {"", "1", "1A", "A-B", "A B", "A=B", "A;B", "$A",
                           "\xc3\xa4", "ZELK_", "ZELK_TIMEOUT"}) {
    SCOPED_TRACE(name);
    EXPECT_EQ(read_option("<option id='a'><variable name='" +
                          std::string(name) + "'>1</variable></option>"),
              1);
    EXPECT_EQ(said().back(),
              "zelk.xml:2: " + std::string(variable_names) + name + "'");
  }
}

constexpr bad_options bad_option_cases[] = {
    {"<provder name='p'/>",
     "expected in 'provider_options' the element 'provider'; found "
     "'provder'"},
    {"<provider/>", "expected in 'provider' the attribute 'name'"},
    {"<provider name=''/>",
     "expected in 'name' of 'provider': the name of a provider, not empty; "
     "found ''"},
    {"<provider nam='p'/>",
     "expected in 'provider' the attribute 'name'; found 'nam'"},
    {"<provider name='p'><opton/></provider>",
     "expected in 'provider' the element 'option'; found 'opton'"},
    {"<provider name='p'><option/></provider>",
     "expected in 'option' the attribute 'id'"},
    {"<provider name='p'><option id=' '/></provider>",
     "expected in 'id' of 'option': 1 to 59 bytes of text; found ''"},
    {"<provider name='p'><option id='a'/><option id='a'/></provider>",
     "expected in 'option': an id that no other option of the provider has; "
     "found 'a' again"},
    {"<provider name='p'/><provider name='p'/>",
     "expected in 'provider': a name that no other provider has; found 'p' "
     "again"},
    {"<provider name='p'/><provider name='P'/>",
     "expected in 'provider': a name that no other provider has, in upper or "
     "lower case; found 'P' again"},
    {"<provider name='p'><option id='a' timeout='0'/></provider>",
     "expected in 'timeout' of 'option': whole seconds, greater than 0; "
     "found '0'"},
    {"<provider name='p'><option id='a' timeout='-5'/></provider>",
     "expected in 'timeout' of 'option': whole seconds, greater than 0; "
     "found '-5'"},
    {"<provider name='p'><option id='a' timeout='1.5'/></provider>",
     "expected in 'timeout' of 'option': whole seconds, greater than 0; "
     "found '1.5'"},
    {"<provider name='p'><option id='a' timeout='1h'/></provider>",
     "expected in 'timeout' of 'option': whole seconds, greater than 0; "
     "found '1h'"},
    {"<provider name='p'><option id='a' timeout=''/></provider>",
     "expected in 'timeout' of 'option': whole seconds, greater than 0; "
     "found ''"},
    {"<provider name='p'><option id='a' timeout='9223372036854775808'/>"
     "</provider>",
     "expected in 'timeout' of 'option': whole seconds, greater than 0; "
     "found '9223372036854775808'"},
    {"<provider name='p'><option id='a' timeout='5' scale='Linear'/>"
     "</provider>",
     "expected in 'scale' of 'option': constant, linear, squared or "
     "logarithmic; found 'Linear'"},
    {"<provider name='p'><option id='a' scale='linear'/></provider>",
     "expected in 'option' the attribute 'timeout' beside 'scale'"},
    {"<provider name='p'><option id='a' time='5'/></provider>",
     "expected in 'option' one of the attributes id, timeout, scale; found "
     "'time'"},
    {"<provider name='p'><option id='a'>text</option></provider>",
     "expected only elements in 'option'; found the text 'text'"},
    {"<provider name='p'><option id='a'><variable>1</variable></option>"
     "</provider>",
     "expected in 'variable' the attribute 'name'"},
    {"<provider name='p'><option id='a'><variable name='A'>1<b/></variable>"
     "</option></provider>",
     "expected only text in 'variable'; found 'b'"},
    {"<provider name='p'><option id='a'><variable name='A'/>"
     "<variable name='A'/></option></provider>",
     "expected in 'variable': a name that no other variable of the option "
     "has; found 'A' again"},
};

TEST_F(read_config, names_the_line_of_a_bad_option) {
  for (const bad_options& c : bad_option_cases) {
    SCOPED_TRACE(c.providers);
    EXPECT_EQ(read_options(c.providers), 1);
    EXPECT_EQ(said().back(), "zelk.xml:2: " + std::string(c.complaint));
  }
  EXPECT_EQ(said().size(), std::size(bad_option_cases));
}

// A schema counts characters, the record's field bytes.
TEST_F(read_config, counts_the_bytes_of_an_id) {
  std::string id;
  for (int i = 0; i < 30; ++i)
    id += "\xc3\xbc";
  EXPECT_EQ(read_option("<option id='" + id + "'/>"), 1);
  EXPECT_EQ(said(), lines{"zelk.xml:2: expected in 'id' of 'option': 1 to 59 "
                          "bytes of text; found 60 bytes"});
  EXPECT_EQ(read_option("<option id='" + id.substr(2) + "'/>"), 0);
  EXPECT_EQ(read_option("<option id='" + std::string(60, 'i') + "'/>"), 1);
}

TEST_F(read_config, refuses_an_output_directory_that_is_none) {
  constexpr char expected[] =
      "zelk.xml:1: expected in 'output_directory': an absolute path of at most "
      "4095 bytes; found ";
  EXPECT_EQ(read("<zelk><output_directory/></zelk>"), 1);
  EXPECT_EQ(said().back(), expected + std::string("''"));
  EXPECT_EQ(read("<zelk><output_directory>spool</output_directory></zelk>"), 1);
  EXPECT_EQ(said().back(), expected + std::string("'spool'"));
  std::string path = "/";
  for (int i = 0; i < 2048; ++i)
    path += "\xc3\xbc";
  EXPECT_EQ(
      read("<zelk><output_directory>" + path + "</output_directory></zelk>"),
      1);
  EXPECT_EQ(said().back(), expected + std::string("4097 bytes"));
}

TEST_F(read_config, takes_the_longest_output_directory) {
  const std::string path = "/" + std::string(PATH_MAX - 2, 'd');
  EXPECT_EQ(
      read("<zelk><output_directory>" + path + "</output_directory></zelk>"),
      0);
  EXPECT_EQ(config_.output_directory, path);
  EXPECT_EQ(
      read("<zelk><output_directory>" + path + "d</output_directory></zelk>"),
      1);
}

TEST_F(read_config, refuses_an_unknown_child) {
  EXPECT_EQ(read("<zelk>\n<outputdirectory/>\n</zelk>"), 1);
  EXPECT_EQ(
      said(),
      lines{"zelk.xml:2: expected in 'zelk' one of the elements "
            "output_directory, provider_options, collect, datastore; found "
            "'outputdirectory'"});
}

TEST_F(read_config, does_not_include_other_files) {
  EXPECT_EQ(read("<zelk xmlns:xi='http://www.w3.org/2001/XInclude'>\n"
                 "<xi:include href='/etc/passwd' parse='text'/></zelk>"),
            1);
  EXPECT_EQ(
      said(),
      lines{"zelk.xml:2: expected in 'zelk' one of the elements "
            "output_directory, provider_options, collect, datastore; found "
            "'{http://www.w3.org/2001/XInclude}include'"});
}

TEST_F(read_config, refuses_the_root_of_another_file) {
  EXPECT_EQ(read("<provider_options/>"), 1);
  EXPECT_EQ(said(), lines{"zelk.xml:1: expected at the root the element "
                          "'zelk'; found 'provider_options'"});
}

TEST_F(read_config, changes_nothing_on_failure) {
  EXPECT_EQ(read("<zelk><output_directory>/a</output_directory>"
                 "<provider_options><provider name='p'><option id='a'/>"
                 "</provider></provider_options></zelk>"),
            0);
  EXPECT_EQ(read("<zelk><output_directory>/b</output_directory>"
                 "<provider_options><provider name='q'>"
                 "<option id='b' scale='linear'/></provider>"
                 "</provider_options></zelk>"),
            1);
  EXPECT_EQ(preproc::read_config(config_, "/nowhere/zelk.xml"), 1);
  EXPECT_STREQ(config_.output_directory, "/a");
  EXPECT_EQ(config_.provider_configs.size(), 1U);
  EXPECT_EQ(options("P").size(), 1U);
}

TEST_F(read_config, replaces_what_it_read_before) {
  EXPECT_EQ(read_option("<option id='a'/>"), 0);
  EXPECT_EQ(read("<zelk/>"), 0);
  EXPECT_TRUE(config_.provider_configs.empty());
}

TEST_F(read_config, says_that_there_is_no_file) {
  EXPECT_EQ(preproc::read_config(config_, "/nowhere/zelk.xml"), 1);
  EXPECT_EQ(said(), lines{"/nowhere/zelk.xml: cannot be read (2): No such file "
                          "or directory"});
}

TEST_F(read_config, says_that_there_is_no_schema) {
  std::filesystem::remove(in_root("share/zelkara/zelk.xsd"));
  EXPECT_EQ(read("<zelk/>"), 1);
  EXPECT_EQ(said(), lines{"root/share/zelkara/zelk.xsd: cannot be read (2): No "
                          "such file or directory"});
}

}  // namespace
}  // namespace zelk::preproc
