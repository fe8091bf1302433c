#include "src/common/facts/read_lines.h"

#include <string>

#include <gtest/gtest.h>

#include "src/common/facts/test_declaration.h"

namespace zelk::facts {
namespace {

using read_lines_ = declaration_fixture;
using read_patterns_ = declaration_fixture;

TEST_F(read_lines_, takes_values_by_source_and_pattern) {
  EXPECT_EQ(read("lines",
                 R"x(<fact name="mem.total" from="/proc/meminfo"
  pattern="MemTotal: +([0-9]+) kB" type="integer" unit="KiB"/>
<fact name="net.{1}.mtu" from="/sys/class/net/([^/]+)/mtu" type="integer"
  unit="B"/>
<fact name="os.{key}" from="/etc/os-release"
  pattern='(?P&lt;key>[A-Z]+)="?(?P&lt;value>[^"]*)"?'/>)x",
                 "/proc/meminfo: MemFree:  7 kB\n"
                 "/proc/meminfo: MemTotal:  49368200 kB\n"
                 "/sys/class/net/eth0/mtu: 9000\r\n"
                 "/sys/class/net/lo/mtu:  65536 \n"
                 "/etc/os-release: ID=debian\n"
                 "/etc/os-release: NAME=\"Debian GNU/Linux\""),
            "mem.total = 49368200 KiB\n"
            "net.eth0.mtu = 9000 B\n"
            "net.lo.mtu = 65536 B\n"
            "os.ID = debian\n"
            "os.NAME = Debian GNU/Linux\n");
}

TEST_F(read_lines_, splits_a_line_at_the_first_colon_and_blank) {
  EXPECT_EQ(read("lines", R"x(<fact name="x.{1}" from="(.*)"/>)x",
                 "a:b: c: d\nempty:\nempty2: \nno source\n:\n: text\n\n"),
            "x.a:b = c: d\nx.empty = \nx.empty2 = \n"
            "x. ! found '' and 'text'\n");
}

TEST_F(read_lines_, matches_sources_and_texts_as_a_whole) {
  EXPECT_EQ(
      read("lines",
           R"x(<fact name="a" from="a|b" pattern="1|2" optional="yes"/>)x",
           "aa: 1\nxb: 2\na: 12\nb: 21\n"),
      "");
  EXPECT_EQ(
      read("lines", R"x(<fact name="a" from="a|b" pattern="1|2"/>)x", "b: 2\n"),
      "a = 2\n");
}

TEST_F(read_lines_, chooses_the_group_that_is_the_value) {
  struct {
    const char* pattern;
    const char* value;
  } const cases[] = {
      {"v=.*", "v=1 w=2"},
      {"v=(.*) w=(.*)", "1"},
      {"v=(.*) w=(?P&lt;value>.*)", "2"},
      {"v=(?P&lt;other>.*) w=(.*)", "2"},
      {"v=(?P&lt;other>.*) w=.*", "1"},
      {"(?:v)=(.*) w=.*", "1"},
      {"v=(x)?.*", ""},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.pattern);
    EXPECT_EQ(read("lines",
                   "<fact name='a' from='s' pattern='" +
                       std::string(c.pattern) + "'/>",
                   "s: v=1 w=2\n"),
              "a = " + std::string(c.value) + "\n");
  }
}

TEST_F(read_lines_, reports_what_was_not_found_and_why) {
  const char* const facts = R"x(<fact name="a" from="/proc/a"/>
<fact name="b" from="/proc/b" pattern="x(.*)"/>
<fact name="c" from="/sys/c/d"/>
<fact name="e" from="chronyc"/>
<fact name="f" from="lscpu"/>
<fact name="g" from="/proc/g"/>
<fact name="o" from="/proc/o" optional="yes"/>
<fact name="t.{1}" from="/proc/t/(.*)"/>)x";
  EXPECT_EQ(read("lines", facts,
                 "/proc/b: y\n"
                 "missing: /sys/c\n"
                 "missing: chronyc\n"
                 "failed: lscpu: exit status 1\n"
                 "unreadable: /proc/g: Permission denied\n"
                 "unreadable: /proc/o: Permission denied\n"
                 "unreadable: /proc/t/1: Invalid argument\n"
                 "withheld: /proc/t/2\n"
                 "/proc/t/3: 3\n"),
            "t.3 = 3\n"
            "a ! no line has the source '/proc/a'\n"
            "b ! no line of '/proc/b' matches 'x(.*)'\n"
            "c ! missing: /sys/c\n"
            "e ! missing: chronyc\n"
            "f ! failed: exit status 1\n"
            "g ! unreadable: Permission denied\n"
            "t.1 ! unreadable: Invalid argument\n");
}

TEST_F(read_lines_, says_which_values_are_of_another_type) {
  EXPECT_EQ(read("lines",
                 R"x(<fact name="i.{1}" from="i(.)" type="integer"/>
<fact name="n.{1}" from="n(.)" type="number"/>
<fact name="b.{1}" from="b(.)" type="boolean"/>)x",
                 "i1: +7\ni2: 7.5\ni3: 9223372036854775808\ni4:\n"
                 "n1: 1.5e3\nn2: nan\nn3: 1,5\n"
                 "b1: Enabled\nb2: N\nb3: maybe\n"),
            "b.1 = true\nb.2 = false\ni.1 = 7\nn.1 = 1500\n"
            "b.3 ! expected yes or no, found 'maybe'\n"
            "i.2 ! expected an integer, found '7.5'\n"
            "i.3 ! expected an integer, found '9223372036854775808'\n"
            "i.4 ! expected an integer, found ''\n"
            "n.2 ! expected a number, found 'nan'\n"
            "n.3 ! expected a number, found '1,5'\n");
}

TEST_F(read_lines_, combines_several_lines_as_declared) {
  struct {
    const char* attributes;
    const char* printed;
  } const cases[] = {
      {"", "a ! found '3' and '10'\n"},
      {"type='integer' several='sum'", "a = 16\n"},
      {"type='number' several='sum'", "a = 16\n"},
      {"type='integer' several='min'", "a = 3\n"},
      {"type='integer' several='max'", "a = 10\n"},
      {"several='first'", "a = 3\n"},
      {"several='last'", "a = 3\n"},
      {"several='count'", "a = 3\n"},
      {"several='set'", "a[] = 10\na[] = 3\n"},
      {"several='set' type='integer'", "a[] = 3\na[] = 10\n"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.attributes);
    EXPECT_EQ(
        read("lines",
             "<fact name='a' from='s' " + std::string(c.attributes) + "/>",
             "s: 3\ns: 10\ns: 3\n"),
        c.printed);
  }
}

TEST_F(read_lines_, takes_the_same_value_twice_for_one) {
  EXPECT_EQ(read("lines", "<fact name='a' from='s' type='integer'/>",
                 "s: 3\ns: +3\n"),
            "a = 3\n");
}

TEST_F(read_lines_, says_that_a_sum_is_too_large) {
  EXPECT_EQ(
      read("lines", "<fact name='a' from='s' type='integer' several='sum'/>",
           "s: 9223372036854775807\ns: 1\n"),
      "a ! the sum takes more than 64 bits\n");
}

// None is as good a count as any, but only of what was looked at.
TEST_F(read_lines_, counts_nothing_as_nothing) {
  const char* const facts = R"x(<fact name="n" from="s" several="count"/>
<fact name="l" from="s" pattern="x.*" several="set"/>
<fact name="m" from="/m" several="count"/>)x";
  EXPECT_EQ(read("lines", facts, "s: y\nmissing: /m\n"),
            "l[] (none)\nn = 1\nm ! missing: /m\n");
  EXPECT_EQ(read("lines", facts, "s: x1\n/m: 1\n", 83),
            "l ! the output is incomplete (exit status 83)\n"
            "m ! the output is incomplete (exit status 83)\n"
            "n ! the output is incomplete (exit status 83)\n");
}

TEST_F(read_lines_, finds_two_declarations_with_one_name) {
  EXPECT_EQ(read("lines",
                 "<fact name='a.b' from='s'/>\n<fact name='a.{1}' "
                 "from='t(.)'/>",
                 "s: 1\ntb: 1\n")
                .substr(0, 56),
            "a.b ! two declarations give this name: lines 2 and 3 of ");
}

TEST_F(read_lines_, keeps_each_line_with_bytes_that_are_no_text) {
  using namespace std::string_literals;
  EXPECT_EQ(read("lines", "<fact name='a.{1}' from='/x/(.*)'/>",
                 "/x/1: caf\xe9 \xc3\xa9\n/x/2: a\0b\n/x/\xff: \x1b[2J\n"s),
            "a.1 = caf\xef\xbf\xbd \xc3\xa9\n"
            "a.2 = a\\x00b\n"
            "a.\xef\xbf\xbd = \\x1b[2J\n");
}

TEST_F(read_lines_, reads_on_behind_a_line_of_any_length) {
  const std::string long_line = many(70'000'000, 'x');
  EXPECT_EQ(read("lines", "<fact name='a' from='s'/>",
                 "s: 1\ns: " + long_line.substr(0, 100'000) + "\ns: 1\n"),
            "a = 1\n* ! 1 lines longer than 65536 bytes are not read\n");
  EXPECT_EQ(read("lines", "<fact name='a' from='s'/>", long_line),
            "* ! 1 lines longer than 65536 bytes are not read\n"
            "* ! what lies behind the first 67108864 bytes is not read\n"
            "a ! no line has the source 's'\n");
}

TEST_F(read_lines_, stops_at_more_names_than_any_machine_has) {
  std::string output;
  for (int i = 0; i < 1'000'000; ++i)
    output += "s" + std::to_string(i) + ": 1\n";
  const auto by = declared("lines", "<fact name='a.{1}' from='s(.*)'/>");
  const extraction all = by->read_output(output, 0);
  EXPECT_EQ(all.facts.size(), 100'000U);
  ASSERT_EQ(all.unread.size(), 1U);
  EXPECT_EQ(all.unread[0].name, "*");
  EXPECT_NE(all.unread[0].reason.find("the rest is not read"),
            std::string::npos);
}

TEST_F(read_lines_, bounds_what_it_says_is_unread) {
  std::string output;
  for (int i = 0; i < 100'000; ++i)
    output += "s" + std::to_string(i) + ": x\n";
  const auto by =
      declared("lines", "<fact name='a.{1}' from='s(.*)' type='integer'/>");
  const extraction all = by->read_output(output, 0);
  ASSERT_EQ(all.unread.size(), 1001U);
  EXPECT_EQ(all.unread.back(),
            (unread_fact{"*", "99000 more facts were not read"}));
}

TEST_F(read_lines_, splits_equations_at_the_first_equals_sign) {
  EXPECT_EQ(read("equals",
                 R"x(<fact name="{1}" from="([a-z]+)"/>
<fact name="n" from="N" type="integer"/>)x",
                 " a = b = c \nN=5\nempty=\nno equation\n=x\n"),
            "a = b = c\nempty = \nn = 5\n");
}

TEST_F(read_patterns_, tries_each_pattern_on_each_line) {
  EXPECT_EQ(
      read("patterns",
           R"x(<fact name="cpus" pattern="processor\s*:.*" several="count"/>
<fact name="clock.{cpu}" pattern="cpu (?P&lt;cpu>[0-9]+) MHz: ([0-9.]+)"
 type="number" unit="MHz"/>
<fact name="none" pattern="nothing like it"/>)x",
           "processor : 0\nprocessor: 1\ncpu 0 MHz: 2000.5\n"
           "cpu 1 MHz: 1999\n"),
      "clock.0 = 2000.5 MHz\nclock.1 = 1999 MHz\ncpus = 2\n"
      "none ! no line matches 'nothing like it'\n");
}

}  // namespace
}  // namespace zelk::facts
