#include <string>

#include <gtest/gtest.h>

#include "src/common/facts/json_path.h"
#include "src/common/facts/test_declaration.h"

namespace zelk::facts {
namespace {

using read_json_ = declaration_fixture;

constexpr char disks[] = R"x({
  "version": 1.50, "ok": true, "none": null, "big": 18446744073709551615,
  "blockdevices": [
    {"name": "sda", "size": 512, "serial no": "A", "children": [
      {"name": "sda1", "size": 100}]},
    {"name": "sdb", "size": 1024, "serial no": "B"}],
  "net": {"eth0": {"mtu": 9000}, "lo": {"mtu": 65536}}})x";

TEST_F(read_json_, takes_values_by_their_path) {
  EXPECT_EQ(read("json",
                 R"x(<fact name="version" from="version" type="number"/>
<fact name="version.text" from="version"/>
<fact name="ok" from="ok" type="boolean"/>
<fact name="big" from="big"/>
<fact name="disk.{1}.size" from="blockdevices[*].size" type="integer" unit="B"/>
<fact name="disk.first" from="blockdevices[0].name"/>
<fact name="disk.serials" from="blockdevices[*]['serial no']" several="set"/>
<fact name="disk.count" from="blockdevices[*]" several="count"/>
<fact name="part.{1}.{2}" from="blockdevices[*].children[*].name"/>
<fact name="net.{1}.mtu" from="net.*.mtu" type="integer"/>
<fact name="letter.{letter}" from="blockdevices[*].name"
 pattern="sd(?P&lt;letter>.)(?P&lt;value>)" several="count"/>)x",
                 disks),
            "big = 18446744073709551615\n"
            "disk.0.size = 512 B\n"
            "disk.1.size = 1024 B\n"
            "disk.count = 2\n"
            "disk.first = sda\n"
            "disk.serials[] = A\n"
            "disk.serials[] = B\n"
            "letter.a = 1\n"
            "letter.b = 1\n"
            "net.eth0.mtu = 9000\n"
            "net.lo.mtu = 65536\n"
            "ok = true\n"
            "part.0.0 = sda1\n"
            "version = 1.5\n"
            "version.text = 1.50\n");
}

TEST_F(read_json_, says_what_stood_there_instead) {
  EXPECT_EQ(read("json",
                 R"x(<fact name="a" from="none"/>
<fact name="b" from="net"/>
<fact name="c" from="blockdevices"/>
<fact name="d" from="nothing.here"/>
<fact name="e" from="big" type="integer"/>
<fact name="f" from="version" pattern="x"/>
<fact name="g.{1}" from="net.*"/>
<fact name="h" from="nothing" optional="yes"/>)x",
                 disks),
            "a ! expected a value, found null\n"
            "b ! expected a value, found an object\n"
            "c ! expected a value, found a list\n"
            "d ! there is no nothing.here\n"
            "e ! expected an integer, found '18446744073709551615'\n"
            "f ! '1.50' does not match 'x'\n"
            "g.eth0 ! expected a value, found an object\n"
            "g.lo ! expected a value, found an object\n");
}

TEST_F(read_json_, believes_nothing_of_half_a_document) {
  const char* const fact = "<fact name='a' from='a'/>";
  EXPECT_EQ(read("json", fact, "{\"a\": 1, \"b\""),
            "* ! the output is no JSON document: wrong at byte 13\n");
  EXPECT_EQ(read("json", fact, ""),
            "* ! the output is no JSON document: wrong at byte 1\n");
  EXPECT_EQ(read("json", fact, "{\"a\": 1} x"),
            "* ! the output is no JSON document: wrong at byte 10\n");
  EXPECT_EQ(read("json", fact, "{\"a\": 1}\n"), "a = 1\n");
}

TEST_F(read_json_, takes_the_document_itself_for_a_value_of_nothing) {
  EXPECT_EQ(read("json", "<fact name='a' from='a'/>", "5"),
            "a ! there is no a\n");
  EXPECT_EQ(read("json", "<fact name='a.{1}' from='[*]'/>", "[5, \"x\"]"),
            "a.0 = 5\na.1 = x\n");
}

TEST_F(read_json_, survives_hostile_documents) {
  const char* const fact = "<fact name='a.{1}' from='[*]'/>";
  EXPECT_EQ(read("json", fact, many(50'000'000, '[')),
            "* ! the output is no JSON document: nested more than 64 deep\n");
  std::string zeroes = "[0";
  for (int i = 0; i < 1'000'000; ++i)
    zeroes += ",0";
  const auto by = declared("json", fact);
  EXPECT_EQ(by->read_output(zeroes + "]", 0).facts.size(), 100'000U);
  EXPECT_EQ(read("json", "<fact name='a' from='a'/>",
                 "{\"a\": \"" + std::string(1'000'000, 'x') + "\"}"),
            "a ! the value is longer than 196608 bytes\n");
  EXPECT_EQ(read("json", "<fact name='a' from='a'/>", "{\"a\": \"\xff\"}"),
            "a = \xef\xbf\xbd\n");
  EXPECT_EQ(read("json", "<fact name='a' from='a'/>", many(70'000'000, ' ')),
            "* ! the output is longer than 67108864 bytes\n");
}

TEST(read_json_path_, reads_the_notation) {
  struct {
    const char* text;
    bool good;
    std::size_t steps;
    std::size_t groups;
  } const cases[] = {
      {"a", true, 1, 0},       {"a.b.c", true, 3, 0},
      {"a[*].b", true, 3, 1},  {"[0][*].*.x", true, 4, 2},
      {"*", true, 1, 1},       {"a['b.c']", true, 2, 0},
      {"a['b]']", true, 2, 0}, {"['']", true, 1, 0},
      {"a b.c-d", true, 2, 0}, {"", false, 0, 0},
      {".a", false, 0, 0},     {"a.", false, 0, 0},
      {"a..b", false, 0, 0},   {"a[", false, 0, 0},
      {"a[]", false, 0, 0},    {"a[x]", false, 0, 0},
      {"a[-1]", false, 0, 0},  {"a[1]b", false, 0, 0},
      {"a['b'", false, 0, 0},  {"a[99999999999999999999]", false, 0, 0},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.text);
    json_path path;
    EXPECT_EQ(read_json_path(c.text, path).empty(), c.good);
    if (!c.good) continue;
    EXPECT_EQ(path.size(), c.steps);
    EXPECT_EQ(groups_of(path), c.groups);
  }
}

}  // namespace
}  // namespace zelk::facts
