#include <filesystem>
#include <string>

#include <gtest/gtest.h>

#include "src/common/preproc/preproc.h"
#include "src/common/preproc/test_tree.h"

namespace zelk::preproc {
namespace {

class parse_provider_config_xml : public test_tree {
 protected:
  bool parse(const std::string& text) {
    const std::string path = write("memory.xml", text);
    return parse_file(path, path);
  }

  // Reads a description with these children beside a command.
  bool parse_children(const std::string& children) {
    return parse("<provider><command>x</command>\n" + children + "</provider>");
  }

  bool parse_file(const std::string& path, const std::string& entry) {
    return Preprocessor::parse_provider_config_xml(description_, path, config_,
                                                   entry) == 0;
  }

  provider_config description_;
};

TEST_F(parse_provider_config_xml, takes_the_example_of_the_manual) {
  EXPECT_TRUE(parse(R"(<?xml version="1.0" encoding="UTF-8"?>
<provider name="memory" version="1">
  <description>Installed and usable memory of the node</description>
  <command>%PROVIDER_AUXILIARY_PATH%/memory.sh</command>
  <auxiliary_path>memory</auxiliary_path>
  <encoding>none</encoding>
  <timeout scale="constant">60</timeout>
  <requires architecture="any" min_nodes="1" max_nodes="1"/>
</provider>
)"));
  EXPECT_EQ(said(), lines{});
  EXPECT_EQ(description_.name, "memory");
  EXPECT_EQ(description_.command, "%PROVIDER_AUXILIARY_PATH%/memory.sh");
  EXPECT_EQ(description_.auxiliary_path, in_root("provider/share/memory"));
}

TEST_F(parse_provider_config_xml, has_a_default_for_all_but_the_command) {
  EXPECT_TRUE(parse("<provider><command>free -b</command></provider>"));
  EXPECT_EQ(description_.name, "memory");
  EXPECT_EQ(description_.command, "free -b");
  EXPECT_EQ(description_.auxiliary_path, in_root("provider/share/memory"));
  EXPECT_EQ(description_.encoding, provider::encoding::NONE);
  EXPECT_EQ(description_.timeout, 60);
  EXPECT_EQ(description_.scale_type, ScaleType::CONSTANT);
  EXPECT_EQ(description_.version, 1);
  EXPECT_EQ(description_.min_nodes, 1);
  EXPECT_EQ(description_.max_nodes, 1);
  EXPECT_EQ(description_.architecture, 2);
}

TEST_F(parse_provider_config_xml, reads_every_field) {
  EXPECT_TRUE(parse(R"(<provider version="-7" name="Memory of nodes">
  <requires max_nodes="65535" min_nodes="0" architecture="x86_64"/>
  <timeout scale="logarithmic">3600</timeout>
  <encoding>base64</encoding>
  <auxiliary_path>/opt/site/memory</auxiliary_path>
  <command>a | b</command>
</provider>)"));
  EXPECT_EQ(description_.name, "Memory of nodes");
  EXPECT_EQ(description_.version, -7);
  EXPECT_EQ(description_.command, "a | b");
  EXPECT_EQ(description_.auxiliary_path, "/opt/site/memory");
  EXPECT_EQ(description_.encoding, provider::encoding::BASE64);
  EXPECT_EQ(description_.timeout, 3600);
  EXPECT_EQ(description_.scale_type, ScaleType::LOGARITHMIC);
  EXPECT_EQ(description_.min_nodes, 0);
  EXPECT_EQ(description_.max_nodes, 65535);
  EXPECT_EQ(description_.architecture, 1);
}

TEST_F(parse_provider_config_xml, sets_defaults_over_a_used_record) {
  EXPECT_TRUE(
      parse_children("<timeout scale='linear'>5</timeout>"
                     "<encoding>raw</encoding>"
                     "<requires min_nodes='2' max_nodes='4' "
                     "architecture='aarch64'/>"));
  EXPECT_TRUE(parse_children(""));
  EXPECT_EQ(description_.timeout, 60);
  EXPECT_EQ(description_.scale_type, ScaleType::CONSTANT);
  EXPECT_EQ(description_.encoding, provider::encoding::NONE);
  EXPECT_EQ(description_.min_nodes, 1);
  EXPECT_EQ(description_.max_nodes, 1);
  EXPECT_EQ(description_.architecture, 2);
}

TEST_F(parse_provider_config_xml, takes_the_default_name_from_the_entry) {
  const std::string path =
      write("memory.xml", "<provider><command>x</command></provider>");
  struct {
    const char* entry;
    const char* name;
  } const cases[] = {
      {"etc/providers/Disk.xml", "Disk"},
      {"/a/net.speed.xml", "net.speed"},
      {"abcde", "a"},
      {"a.xml", "a"},
      {".xml", ".xml"},
      {"a.x", "a.x"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.entry);
    EXPECT_TRUE(parse_file(path, c.entry));
    EXPECT_EQ(description_.name, c.name);
  }
}

TEST_F(parse_provider_config_xml, makes_the_auxiliary_path_absolute) {
  struct {
    const char* written;
    const char* below_root;
  } const cases[] = {
      {"memory", "provider/share/memory"},
      {"site/memory", "provider/share/site/memory"},
      {" \n memory of all \t", "provider/share/memory of all"},
      {"../x", "provider/share/../x"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.written);
    EXPECT_TRUE(parse_children("<auxiliary_path>" + std::string(c.written) +
                               "</auxiliary_path>"));
    EXPECT_EQ(description_.auxiliary_path, in_root(c.below_root));
  }
  EXPECT_TRUE(parse("<provider name='other'><command>x</command></provider>"));
  EXPECT_EQ(description_.auxiliary_path, in_root("provider/share/other"));
}

// Inside, a command may need every byte as it is: a here-document, say.
TEST_F(parse_provider_config_xml, strips_a_command_at_its_ends_only) {
  EXPECT_TRUE(
      parse("<provider><command>\n  a  'b\n\t c'\n</command>"
            "</provider>"));
  EXPECT_EQ(description_.command, "a  'b\n\t c'");
  EXPECT_TRUE(
      parse("<provider><command><![CDATA[a < b && c]]><!-- why -->"
            " &gt; d</command></provider>"));
  EXPECT_EQ(description_.command, "a < b && c > d");
}

TEST_F(parse_provider_config_xml, takes_no_white_space_for_part_of_a_value) {
  EXPECT_TRUE(
      parse("<provider name=' a ' version=' 2 '>"
            "<command>x</command><encoding>\n raw </encoding>"
            "<timeout scale=' squared '> 90\n</timeout>"
            "<requires architecture=' any ' min_nodes=' 2 '/>"
            "</provider>"));
  EXPECT_EQ(description_.name, "a");
  EXPECT_EQ(description_.version, 2);
  EXPECT_EQ(description_.encoding, provider::encoding::RAW);
  EXPECT_EQ(description_.timeout, 90);
  EXPECT_EQ(description_.scale_type, ScaleType::SQUARED);
  EXPECT_EQ(description_.min_nodes, 2);
  EXPECT_EQ(description_.architecture, 2);
}

TEST_F(parse_provider_config_xml, knows_one_machine) {
  struct {
    const char* name;
    int requirement;
  } const cases[] = {{"any", 2},     {"x86_64", 1}, {"aarch64", 0},
                     {"ppc64le", 0}, {"i686", 0},   {"amd64", 0}};
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    EXPECT_TRUE(parse_children("<requires architecture='" +
                               std::string(c.name) + "'/>"));
    EXPECT_EQ(description_.architecture, c.requirement);
  }
}

// The floor of a minute makes something of each.
TEST_F(parse_provider_config_xml, takes_any_whole_seconds) {
  struct {
    const char* text;
    std::int64_t seconds;
  } const cases[] = {{"0", 0},
                     {"-5", -5},
                     {"+5", 5},
                     {"0060", 60},
                     {"9223372036854775807", 9223372036854775807}};
  for (const auto& c : cases) {
    SCOPED_TRACE(c.text);
    EXPECT_TRUE(
        parse_children("<timeout>" + std::string(c.text) + "</timeout>"));
    EXPECT_EQ(description_.timeout, c.seconds);
  }
}

TEST_F(parse_provider_config_xml, takes_the_ends_of_each_range) {
  EXPECT_TRUE(
      parse("<provider version='2147483647'><command>x</command>"
            "</provider>"));
  EXPECT_EQ(description_.version, 2147483647);
  EXPECT_TRUE(
      parse("<provider version='-2147483648'><command>x</command>"
            "</provider>"));
  EXPECT_EQ(description_.version, -2147483647 - 1);
  EXPECT_TRUE(parse_children("<requires min_nodes='65535' max_nodes='0'/>"));
  EXPECT_EQ(description_.min_nodes, 65535);
  EXPECT_EQ(description_.max_nodes, 0);
}

// A formatter breaks the line there.
TEST_F(parse_provider_config_xml, takes_white_space_in_an_empty_element) {
  EXPECT_TRUE(parse_children("<requires max_nodes='7'>\n  </requires>"));
  EXPECT_EQ(description_.max_nodes, 7);
}

TEST_F(parse_provider_config_xml, refuses_a_provider_without_a_command) {
  for (const char* text :
       {"<provider/>", "<provider><encoding>raw</encoding></provider>"}) {
    SCOPED_TRACE(text);
    EXPECT_FALSE(parse(text));
    EXPECT_EQ(said().back(),
              "memory.xml:1: expected in 'provider' the element 'command'");
  }
  for (const char* command :
       {"<command/>", "<command> \n\t</command>", "<command><!--x--></command>",
        "<command><![CDATA[ ]]></command>"}) {
    SCOPED_TRACE(command);
    EXPECT_FALSE(parse("<provider>" + std::string(command) + "</provider>"));
    EXPECT_EQ(said().back(),
              "memory.xml:1: expected in 'command': text, not empty; found ''");
  }
}

TEST_F(parse_provider_config_xml, names_the_line_of_a_bad_child) {
  struct {
    const char* child;
    const char* complaint;
  } const cases[] = {
      {"<comand>x</comand>",
       "expected in 'provider' one of the elements description, command, "
       "auxiliary_path, encoding, timeout, requires, facts; found 'comand'"},
      {"<command>y</command>", "expected 'command' only once in 'provider'"},
      {"<encoding>hex</encoding>",
       "expected in 'encoding': none, base64 or raw; found 'hex'"},
      {"<encoding>None</encoding>",
       "expected in 'encoding': none, base64 or raw; found 'None'"},
      {"<encoding/>", "expected in 'encoding': none, base64 or raw; found ''"},
      {"<auxiliary_path/>",
       "expected in 'auxiliary_path': text, not empty; found ''"},
      {"<timeout/>", "expected in 'timeout': whole seconds; found ''"},
      {"<timeout>1.5</timeout>",
       "expected in 'timeout': whole seconds; found '1.5'"},
      {"<timeout>1h</timeout>",
       "expected in 'timeout': whole seconds; found '1h'"},
      {"<timeout>9223372036854775808</timeout>",
       "expected in 'timeout': whole seconds; found '9223372036854775808'"},
      {"<timeout scale='cubic'>5</timeout>",
       "expected in 'scale' of 'timeout': constant, linear, squared or "
       "logarithmic; found 'cubic'"},
      {"<timeout scales='linear'>5</timeout>",
       "expected in 'timeout' the attribute 'scale'; found 'scales'"},
      {"<requires max_node='1'/>",
       "expected in 'requires' one of the attributes architecture, min_nodes, "
       "max_nodes; found 'max_node'"},
      {"<requires min_nodes='-1'/>",
       "expected in 'min_nodes' of 'requires': a whole number, 0 to 65535; "
       "found '-1'"},
      {"<requires max_nodes='65536'/>",
       "expected in 'max_nodes' of 'requires': a whole number, 0 to 65535; "
       "found '65536'"},
      {"<requires min_nodes=''/>",
       "expected in 'min_nodes' of 'requires': a whole number, 0 to 65535; "
       "found ''"},
      {"<requires architecture='x86-64'/>",
       "expected in 'architecture' of 'requires': any, or a machine name as "
       "uname -m prints it: lower-case letters, digits and _; found 'x86-64'"},
      {"<requires architecture='Any'/>",
       "expected in 'architecture' of 'requires': any, or a machine name as "
       "uname -m prints it: lower-case letters, digits and _; found 'Any'"},
      {"<requires>x</requires>",
       "expected in 'requires': nothing but white space; found 'x'"},
      {"<requires><command/></requires>",
       "expected no element in 'requires'; found 'command'"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.child);
    EXPECT_FALSE(parse_children(c.child));
    EXPECT_EQ(said().back(), "memory.xml:2: " + std::string(c.complaint));
  }
  EXPECT_EQ(said().size(), std::size(cases));
}

TEST_F(parse_provider_config_xml, refuses_bad_attributes_of_a_provider) {
  struct {
    const char* attribute;
    const char* complaint;
  } const cases[] = {
      {"name=''",
       "expected in 'name' of 'provider': text, not empty; found ''"},
      {"version='2147483648'",
       "expected in 'version' of 'provider': a whole number, -2147483648 to "
       "2147483647; found '2147483648'"},
      {"version='1.0'",
       "expected in 'version' of 'provider': a whole number, -2147483648 to "
       "2147483647; found '1.0'"},
      {"versoin='1'",
       "expected in 'provider' one of the attributes name, version; found "
       "'versoin'"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.attribute);
    EXPECT_FALSE(parse("<provider " + std::string(c.attribute) +
                       "><command>x</command></provider>"));
    EXPECT_EQ(said().back(), "memory.xml:1: " + std::string(c.complaint));
  }
}

TEST_F(parse_provider_config_xml, says_of_a_file_that_it_cannot_be_read) {
  EXPECT_FALSE(parse_file("/nowhere/memory.xml", "memory.xml"));
  EXPECT_EQ(said().back(),
            "/nowhere/memory.xml: cannot be read (2): No such file or "
            "directory");
  const std::string folder = in_root("etc/providers/folder.xml");
  std::filesystem::create_directories(folder);
  EXPECT_FALSE(parse_file(folder, folder));
  EXPECT_EQ(said().back(),
            "root/etc/providers/folder.xml: expected a regular "
            "file, found a directory");
  std::filesystem::remove(in_root("share/zelkara/description.xsd"));
  EXPECT_FALSE(parse_children(""));
  EXPECT_EQ(said().back(),
            "root/share/zelkara/description.xsd: cannot be read (2): No such "
            "file or directory");
}

}  // namespace
}  // namespace zelk::preproc
