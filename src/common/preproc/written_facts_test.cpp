#include "src/common/preproc/written_facts.h"

#include <string>

#include <gtest/gtest.h>

#include "src/common/preproc/preproc.h"
#include "src/common/preproc/test_tree.h"

namespace zelk::preproc {
namespace {

class read_written_facts_ : public test_tree {
 protected:
  std::optional<written_facts> read(const std::string& children,
                                    const std::string& attributes = "") {
    const std::string path = write("memory.xml", "<provider " + attributes +
                                                     "><command>x</command>\n" +
                                                     children + "</provider>");
    return read_written_facts(path, in_root("share/zelkara/description.xsd"));
  }
};

TEST_F(read_written_facts_, keeps_every_attribute_and_its_line) {
  const auto read_back = read(R"(<facts format="equals">
<fact name="a.b" from="x  y" pattern=" ([0-9]+)  &lt;" type=" integer "/>

<fact name="net.{1}.mtu" from="z"/>
</facts>)",
                              "name='Memory' version='-3'");
  ASSERT_TRUE(read_back);
  EXPECT_EQ(said(), lines{});
  EXPECT_EQ(read_back->provider, "Memory");
  EXPECT_EQ(read_back->version, -3);
  EXPECT_TRUE(read_back->declared);
  EXPECT_EQ(read_back->line, 2);
  EXPECT_EQ(read_back->format, "equals");
  ASSERT_EQ(read_back->facts.size(), 2U);
  EXPECT_EQ(read_back->facts[0].line, 3);
  EXPECT_EQ(read_back->facts[0].attributes,
            (std::map<std::string, std::string>{{"name", "a.b"},
                                                {"from", "x  y"},
                                                {"pattern", " ([0-9]+)  <"},
                                                {"type", "integer"}}));
  EXPECT_EQ(read_back->facts[1].line, 5);
}

TEST_F(read_written_facts_, keeps_what_the_provider_is_about) {
  const auto read_back =
      read("<description>\n  Memory, usable\n</description>");
  ASSERT_TRUE(read_back);
  EXPECT_EQ(read_back->description, "Memory, usable");
}

TEST_F(read_written_facts_, has_defaults) {
  const auto without = read("");
  ASSERT_TRUE(without);
  EXPECT_FALSE(without->declared);
  EXPECT_EQ(without->provider, "memory");
  EXPECT_EQ(without->version, 1);
  EXPECT_EQ(without->description, "");
  const auto empty = read("<facts/>");
  ASSERT_TRUE(empty);
  EXPECT_TRUE(empty->declared);
  EXPECT_EQ(empty->format, "lines");
}

TEST_F(read_written_facts_, says_what_the_schema_expected) {
  struct {
    const char* facts;
    const char* complaint;
  } const cases[] = {
      {"<facts format='xml'/>",
       "2: expected in 'format' of 'facts': lines, equals, json, patterns or "
       "nagios; found 'xml'"},
      {"<facts>\n<fact from='x'/></facts>",
       "3: expected in 'fact' the attribute 'name'"},
      {"<facts>\n<fact name='A'/></facts>",
       "3: expected in 'name' of 'fact': words of lower-case letters, digits, "
       "_ and -, joined by dots; {1} or {word} in them stands for a group; "
       "found 'A'"},
      {"<facts>\n<fact name='a..b'/></facts>",
       "3: expected in 'name' of 'fact': words of lower-case letters, digits, "
       "_ and -, joined by dots; {1} or {word} in them stands for a group; "
       "found 'a..b'"},
      {"<facts>\n<fact name='a'/>\n<fact name=' a '/></facts>",
       "4: expected in 'fact': a name that no other fact of the "
       "provider has; found 'a' again"},
      {"<facts>\n<fact name='a' from=''/></facts>",
       "3: expected in 'from' of 'fact': an expression, not empty; found ''"},
      {"<facts>\n<fact name='a' type='int'/></facts>",
       "3: expected in 'type' of 'fact': text, integer, number or boolean; "
       "found 'int'"},
      {"<facts>\n<fact name='a' compare='never'/></facts>",
       "3: expected in 'compare' of 'fact': equal, outlier, counter, unique, "
       "volatile or state; found 'never'"},
      {"<facts><fact name='a'>x</fact></facts>",
       "2: expected in 'fact': nothing but white space; found 'x'"},
      {"<facts/>\n<facts/>", "3: expected 'facts' only once in 'provider'"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.facts);
    EXPECT_FALSE(read(c.facts));
    EXPECT_EQ(said().back(), "memory.xml:" + std::string(c.complaint));
  }
}

// The worker has no use for facts and no library to check their expressions.
TEST_F(read_written_facts_, is_nothing_that_the_worker_looks_at) {
  const std::string path = write("memory.xml",
                                 "<provider><command>x</command><timeout>90"
                                 "</timeout><facts><fact name='a' "
                                 "from='((' unit='nonsense'/></facts>"
                                 "</provider>");
  provider_config description;
  EXPECT_EQ(
      Preprocessor::parse_provider_config_xml(description, path, config_, path),
      0);
  EXPECT_EQ(said(), lines{});
  EXPECT_EQ(description.timeout, 90);
}

}  // namespace
}  // namespace zelk::preproc
