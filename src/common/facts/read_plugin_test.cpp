// The outputs are those of the plugins that Debian 12 packages (2.3.3), but for
// the hostile ones and those that the plugins' guidelines give as examples.

#include <string>

#include <gtest/gtest.h>

#include "src/common/facts/description_set.h"
#include "src/common/facts/test_declaration.h"

namespace zelk::facts {
namespace {

class read_plugin_ : public declaration_fixture {
 protected:
  std::string plugin(std::string_view output, int exit_status = 0) {
    return read("nagios", "", output, exit_status);
  }
};

TEST_F(read_plugin_, reads_what_real_plugins_print) {
  struct {
    const char* output;
    int status;
    const char* printed;
  } const cases[] = {
      {"LOAD OK - total load average: 4.92, 6.36, 4.89|load1=4.920;15.000;"
       "30.000;0; load5=6.360;10.000;25.000;0; load15=4.890;5.000;20.000;0; \n",
       0,
       "disk.perf.load1 = 4.92\ndisk.perf.load15 = 4.89\n"
       "disk.perf.load5 = 6.36\ndisk.state = 0\n"
       "disk.text = LOAD OK - total load average: 4.92, 6.36, 4.89\n"},
      {"DISK OK - free space: / 73562MiB (75% inode=97%);| "
       "/=25608323072B;243497277849;257024904396;0;270552530944\n",
       0,
       "disk.perf./ = 25608323072 B\ndisk.state = 0\n"
       "disk.text = DISK OK - free space: / 73562MiB (75% inode=97%);\n"},
      {"SWAP CRITICAL - 0% free (0MB out of 0MB) - Swap is either disabled, "
       "not present, or of zero size. |swap=0B;20;10;0;0\n",
       2,
       "disk.perf.swap = 0 B\ndisk.state = 2\n"
       "disk.text = SWAP CRITICAL - 0% free (0MB out of 0MB) - Swap is either "
       "disabled, not present, or of zero size.\n"},
      {"PING OK - Packet loss = 0%, RTA = 0.11 ms|rta=0.112000ms;100.000000;"
       "500.000000;0.000000 pl=0%;20;60;0;\n",
       0,
       "disk.perf.pl = 0 %\ndisk.perf.rta = 0.112 ms\ndisk.state = 0\n"
       "disk.text = PING OK - Packet loss = 0%, RTA = 0.11 ms\n"},
      {"connect to address 127.0.0.1 and port 37: Connection refused\n"
       "TIME UNKNOWN - could not connect to server 127.0.0.1, port 37\n",
       3,
       "disk.state = 3\n"
       "disk.text = connect to address 127.0.0.1 and port 37: Connection "
       "refused\n"},
      {"CRITICAL: bad", 2, "disk.state = 2\ndisk.text = CRITICAL: bad\n"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.output);
    EXPECT_EQ(plugin(c.output, c.status), c.printed);
  }
}

TEST_F(read_plugin_, reads_performance_data_of_several_lines) {
  EXPECT_EQ(plugin("DISK OK - free space: / 3326 MB (56%); | "
                   "/=2643MB;5948;5958;0;5968\n"
                   "/ 15272 MB (77%);\n"
                   "/boot 68 MB (69%);\n"
                   "/var/log 819 MB (84%); | /boot=68MB;88;93;0;98\n"
                   "/home=69357MB;253404;253409;0;253414\n"
                   "/var/log=818MB;970;975;0;980\n"),
            "disk.perf./ = 2643 MB\n"
            "disk.perf./boot = 68 MB\n"
            "disk.perf./home = 69357 MB\n"
            "disk.perf./var/log = 818 MB\n"
            "disk.state = 0\n"
            "disk.text = DISK OK - free space: / 3326 MB (56%);\n");
}

TEST_F(read_plugin_, takes_a_bar_behind_long_text_for_the_last_one) {
  EXPECT_EQ(plugin("OK\nmore | a=1\nb=2 c=3\n"),
            "disk.perf.a = 1\ndisk.perf.b = 2\ndisk.perf.c = 3\n"
            "disk.state = 0\ndisk.text = OK\n");
}

TEST_F(read_plugin_, reads_labels_in_quotes) {
  EXPECT_EQ(plugin("OK|'free space'=5% 'it''s'=1 'a=b'=2 x='3'\n"),
            "disk.perf.a=b = 2\ndisk.perf.free space = 5 %\n"
            "disk.perf.it's = 1\ndisk.state = 0\ndisk.text = OK\n"
            "disk.perf.x ! expected a number, found ''3''\n");
}

TEST_F(read_plugin_, gives_each_item_its_unit_and_comparison) {
  const auto by = declared("nagios", "");
  const extraction all =
      by->read_output("OK|a=5c b=-0.5us c=1e3 d=7KiB e=3;1:5;@2:3\n", 0);
  ASSERT_EQ(all.facts.size(), 7U);
  struct {
    const char* unit;
    comparison compare;
    double value;
  } const wanted[] = {
      {"", comparison::counter, 5},    {"us", comparison::outlier, -0.5},
      {"", comparison::outlier, 1000}, {"KiB", comparison::outlier, 7},
      {"", comparison::outlier, 3},
  };
  for (std::size_t i = 0; i < std::size(wanted); ++i) {
    SCOPED_TRACE(all.facts[i].name);
    EXPECT_EQ(all.facts[i].traits.unit, wanted[i].unit);
    EXPECT_EQ(all.facts[i].traits.compare, wanted[i].compare);
    EXPECT_EQ(all.facts[i].traits.type, value_type::number);
    EXPECT_EQ(all.facts[i].value, fact_value(wanted[i].value));
  }
  EXPECT_EQ(all.facts[5].name, "disk.state");
  EXPECT_EQ(all.facts[5].traits.type, value_type::integer);
  EXPECT_EQ(all.facts[5].traits.compare, comparison::state);
  EXPECT_EQ(all.facts[5].traits.direction, better::lower);
  EXPECT_EQ(all.facts[6].traits.compare, comparison::unstable);
}

TEST_F(read_plugin_, says_what_it_could_not_read) {
  struct {
    const char* data;
    const char* reason;
  } const cases[] = {
      {"a=U", "disk.perf.a ! the plugin could not tell (U)"},
      {"a=", "disk.perf.a ! expected a number, found ''"},
      {"a=;1;2", "disk.perf.a ! expected a number, found ''"},
      {"a=1,5", "disk.perf.a ! expected a known unit, found ',5'"},
      {"a=5furlongs", "disk.perf.a ! expected a known unit, found 'furlongs'"},
      {"a=--5", "disk.perf.a ! expected a number, found '--5'"},
      {"a=1 a=2", "disk.perf.a ! found '1' and '2'"},
      {"=5", "* ! expected label=value in the performance data, found '=5'"},
      {"words only",
       "* ! expected label=value in the performance data, found 'words only'"},
      {"'open=5",
       "* ! expected label=value in the performance data, found ''open=5'"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.data);
    EXPECT_EQ(
        plugin("OK|" + std::string(c.data)),
        "disk.state = 0\ndisk.text = OK\n" + std::string(c.reason) + "\n");
  }
}

TEST_F(read_plugin_, takes_no_other_status_for_a_state) {
  EXPECT_EQ(plugin("OK|a=1", 4), "* ! the command ended with status 4\n");
  EXPECT_EQ(plugin("OK|a=1", 124),
            "* ! the command was stopped by its time-out\n");
  EXPECT_EQ(plugin("OK|a=1", 137), "* ! the command was ended by signal 9\n");
  EXPECT_EQ(plugin("OK|a=1", 127), "* ! the command ended with status 127\n");
  EXPECT_EQ(plugin("OK|a=1", 83), "* ! the command ended with status 83\n");
  EXPECT_EQ(plugin("OK|a=1", 80), "(not applicable)\n");
}

TEST_F(read_plugin_, survives_hostile_data) {
  EXPECT_EQ(plugin(""), "disk.state = 0\ndisk.text = \n");
  std::string items = "OK|";
  for (int i = 0; i < 7000; ++i)
    items += "l" + std::to_string(i) + "=1 ";
  const auto by = declared("nagios", "");
  EXPECT_EQ(by->read_output(items, 0).facts.size(), 7002U);
  std::string lines = "OK\n|";
  for (int i = 0; i < 1'000'000; ++i)
    lines += "l" + std::to_string(i) + "=1\n";
  EXPECT_EQ(by->read_output(lines, 0).facts.size(), 10'002U);
  std::string bad = "OK\n|";
  for (int i = 0; i < 1'000'000; ++i)
    bad += "x\n";
  EXPECT_LE(by->read_output(bad, 0).unread.size(), 1001U);
  using namespace std::string_literals;
  EXPECT_EQ(plugin("O\0K|'\xff'=1"s),
            "disk.perf.\xef\xbf\xbd = 1\ndisk.state = 0\n"
            "disk.text = O\\x00K\n");
}

TEST_F(read_plugin_, takes_the_shipped_examples) {
  const description_set examples(ZELK_SOURCE_DIR "/share/zelkara/examples",
                                 shipped_schema);
  EXPECT_EQ(said(), lines{});
  EXPECT_GE(examples.size(), 5U);
  const auto by = examples.find("check_load", 1).use;
  ASSERT_TRUE(by);
  EXPECT_EQ(printed(by->read_output("LOAD OK|load1=0.5;;;0;", 0)),
            "check_load.perf.load1 = 0.5\ncheck_load.state = 0\n"
            "check_load.text = LOAD OK\n");
}

TEST_F(read_plugin_, wants_no_facts_in_its_description) {
  EXPECT_FALSE(declared("nagios", "<fact name='a' from='b'/>"));
  EXPECT_EQ(said(),
            lines{"disk.xml:2: expected no 'fact' with format \"nagios\": what "
                  "a plugin prints says itself what it means"});
}

}  // namespace
}  // namespace zelk::facts
