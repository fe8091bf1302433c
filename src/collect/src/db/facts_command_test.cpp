#include "src/collect/src/db/facts_command.h"

#include <nlohmann/json.hpp>

#include <gtest/gtest.h>

#include "src/collect/src/accumulate/schema.h"
#include "src/collect/src/reading/base64.h"
#include "src/collect/src/reading/failure.h"
#include "src/collect/src/reading/run_facts.h"
#include "src/collect/src/reading/test_output.h"
#include "src/common/datastore/test_scratch.h"
#include "src/common/log/captured_log.h"
#include "src/common/xml/test_files.h"

namespace zelk::db {
namespace {

constexpr char schema[] = ZELK_SOURCE_DIR "/share/zelkara/description.xsd";

struct stored {
  std::string node;
  std::string provider;
  std::string output;
  int exit_status = 0;
  int version = 1;
  bool base64 = false;
};

class show_facts_ : public testing::Test {
 protected:
  show_facts_() : path_(folder_.file("zelk.db")) {
    describe("memory.xml", "name='memory'",
             "<fact name='mem.total' from='/proc/meminfo' pattern='MemTotal: "
             "*([0-9]+) kB' type='integer' unit='KiB' compare='outlier'/>"
             "<fact name='mem.modules' from='module' several='set'/>");
    describe("net.xml", "name='net' version='2'",
             "<fact name='net.{1}.mtu' from='([^/]+)/mtu' type='integer' "
             "unit='B'/>");
    files_.write("d/plain.xml",
                 "<provider name='plain'><command>x</command></provider>");
    options_.descriptions = files_.path("d");
    options_.schema = schema;
  }

  void describe(const std::string& file, const std::string& attributes,
                const std::string& facts) {
    files_.write("d/" + file, "<provider " + attributes +
                                  "><command>x</command><facts>" + facts +
                                  "</facts></provider>");
  }

  void store(const std::vector<stored>& results) {
    accumulate::result_table table(path_, {});
    accumulate::run wanted;
    wanted.started_usec = reading::first_start;
    const std::int64_t made = accumulate::create_run(table.database(), wanted);
    table.use_run(made);
    int number = 0;
    for (const stored& each : results) {
      provider_result result =
          accumulate::a_result(each.node, ++number, each.output, each.provider);
      result.header.exit_status = each.exit_status;
      result.header.version = each.version;
      result.header.encoding = each.base64 ? 1 : 0;
      datastore_row row = accumulate::row_of(result);
      table.write(row);
    }
    table.flush();
    accumulate::close_run(table.database(), made, {}, "",
                          reading::first_start + 1);
  }

  std::string shown() {
    const reading::captured_output output;
    status_ = show_facts(reading::place_of(path_), options_);
    said_ = output.error();
    return output.out();
  }

  std::string complaint() {
    const reading::captured_output output;
    return reading::complaint_of(
        [&] { show_facts(reading::place_of(path_), options_); });
  }

  datastore::scratch folder_;
  xml::test_files files_;
  std::string path_;
  facts_options options_;
  int status_ = -1;
  std::string said_;
};

const std::vector<stored> two_nodes = {
    {"node10", "memory", "/proc/meminfo: MemTotal:  7 kB\nmodule: a, \"b\"\n"},
    {"node2", "memory",
     "/proc/meminfo: MemTotal:  9 kB\nmodule: x\nmodule: w\n"},
    {"node2", "net", "eth0/mtu: 1500\nlo/mtu: x\n", 0, 2},
};

TEST_F(show_facts_, shows_a_line_for_each_fact) {
  store(two_nodes);
  EXPECT_EQ(shown(),
            "NODE    PROVIDER  OPTION  FACT          VALUE   UNIT  COMPARE\n"
            "node2   memory    None    mem.modules   w\\nx          equal\n"
            "node2   memory    None    mem.total     9       KiB   outlier\n"
            "node10  memory    None    mem.modules   a, \"b\"        equal\n"
            "node10  memory    None    mem.total     7       KiB   outlier\n"
            "node2   net       None    net.eth0.mtu  1500    B     equal\n");
  EXPECT_EQ(status_, 1);
  EXPECT_EQ(said_,
            "zelk-db: 1 fact of 1 node could not be read; --unread lists "
            "them\n");
}

TEST_F(show_facts_, shows_what_could_not_be_read) {
  store(two_nodes);
  options_.unread = true;
  EXPECT_EQ(shown(),
            "NODE   PROVIDER  OPTION  FACT        REASON\n"
            "node2  net       None    net.lo.mtu  expected an integer, found "
            "'x'\n");
  EXPECT_EQ(said_, "");
  EXPECT_EQ(status_, 1);
  options_.form = "csv";
  EXPECT_EQ(shown(),
            "node,provider,option,fact,reason\n"
            "node2,net,None,net.lo.mtu,\"expected an integer, found 'x'\"\n");
}

TEST_F(show_facts_, writes_csv) {
  store(two_nodes);
  options_.form = "csv";
  options_.providers = {"memory"};
  EXPECT_EQ(shown(),
            "node,provider,option,fact,value,unit,type,better,compare\n"
            "node2,memory,None,mem.modules,\"w\nx\",,list,none,equal\n"
            "node2,memory,None,mem.total,9,KiB,integer,none,outlier\n"
            "node10,memory,None,mem.modules,\"a, \"\"b\"\"\",,list,none,equal\n"
            "node10,memory,None,mem.total,7,KiB,integer,none,outlier\n");
  EXPECT_EQ(status_, 0);
}

TEST_F(show_facts_, writes_json) {
  store(two_nodes);
  options_.form = "json";
  options_.nodes = {"node[1-2]"};
  const nlohmann::json all = nlohmann::json::parse(shown());
  ASSERT_EQ(all.size(), 4U);
  EXPECT_EQ(all[0], nlohmann::json::parse(R"({"node": "node2",
    "provider": "memory", "option": "None", "fact": "mem.modules",
    "value": ["w", "x"], "type": "list", "better": "none",
    "compare": "equal"})"));
  EXPECT_EQ(all[1]["value"], 9);
  EXPECT_EQ(all[1]["unit"], "KiB");
  EXPECT_EQ(all[3], nlohmann::json::parse(R"({"node": "node2",
    "provider": "net", "option": "None", "fact": "net.lo.mtu",
    "unread": "expected an integer, found 'x'"})"));
}

TEST_F(show_facts_, chooses_by_name) {
  store(two_nodes);
  options_.form = "csv";
  options_.names = {"*.mtu", "mem.t*"};
  const std::string all = shown();
  EXPECT_NE(all.find("net.eth0.mtu"), all.npos);
  EXPECT_NE(all.find("mem.total"), all.npos);
  EXPECT_EQ(all.find("mem.modules"), all.npos);
}

TEST_F(show_facts_, reads_an_output_by_the_version_that_made_it) {
  describe("net.v1.xml", "name='net' version='1'",
           "<fact name='net.old' from='old'/>");
  store({{"node1", "net", "old: 5\n", 0, 1}, {"node1", "net", "x: 5\n", 0, 7}});
  options_.form = "csv";
  EXPECT_NE(shown().find("node1,net,None,net.old,5,,text,none,equal\n"),
            std::string::npos);
  EXPECT_EQ(status_, 1);
  options_.unread = true;
  const std::string unread = shown();
  EXPECT_NE(unread.find("the result is of version 7 of the provider"),
            unread.npos);
  EXPECT_NE(unread.find("net.v7.xml would be it"), unread.npos);
}

TEST_F(show_facts_, has_nothing_to_say_of_what_is_not_applicable) {
  store({{"node1", "memory", "", 80},
         {"node2", "memory", "", 81},
         {"node3", "plain", "x: 1\n"}});
  shown();
  EXPECT_EQ(status_, 0);
  EXPECT_EQ(said_, "");
}

TEST_F(show_facts_, tells_how_a_command_failed) {
  store({{"node1", "memory", "module: a\n", 124}});
  options_.unread = true;
  const std::string all = shown();
  EXPECT_NE(all.find("the command was stopped by its time-out"), all.npos);
  EXPECT_EQ(status_, 2);
}

TEST_F(show_facts_, decodes_base64) {
  store({{"node1", "memory", reading::base64_of("module: a\n"), 0, 1, true},
         {"node2", "memory", "module: a\n", 0, 1, true},
         {"node3", "memory", "module: a\n", 0, 1, true},
         {"node4", "memory", "module: b\n"}});
  options_.names = {"mem.modules"};
  options_.form = "csv";
  EXPECT_EQ(shown(),
            "node,provider,option,fact,value,unit,type,better,compare\n"
            "node1,memory,None,mem.modules,a,,list,none,equal\n"
            "node4,memory,None,mem.modules,b,,list,none,equal\n");
  EXPECT_EQ(status_, 1);
  options_.unread = true;
  const std::string all = shown();
  EXPECT_NE(all.find("node2,memory,None,*,\"the output says it is base64, but"),
            all.npos);
  EXPECT_NE(all.find("node3,memory,None,*,"), all.npos);
}

TEST_F(show_facts_, reads_equal_outputs_once) {
  std::vector<stored> many;
  many.reserve(100);
  for (int i = 0; i < 100; ++i)
    many.push_back({"node" + std::to_string(i), "memory",
                    "module: " + std::to_string(i % 3) + "\n"});
  store(many);
  datastore::database base = reading::open_to_read(reading::place_of(path_));
  const facts::description_set descriptions(options_.descriptions, schema);
  reading::result_choice choice;
  choice.run = 1;
  const reading::facts_tally tally = reading::for_each_facts(
      base, choice, descriptions, [](const reading::result_facts&) {});
  EXPECT_EQ(tally.results, 100U);
  EXPECT_EQ(tally.outputs, 3U);
}

TEST_F(show_facts_, says_why_there_is_nothing) {
  store({{"node1", "memory", "module: a\n"}, {"node1", "plain", "x: 1\n"}});
  options_.providers = {"nobody"};
  EXPECT_EQ(complaint(), "Run 1 has no result of the provider 'nobody'");
  options_.providers = {"plain"};
  EXPECT_NE(complaint().find("say of none of the 1 results"),
            std::string::npos);
  options_.providers = {};
  options_.names = {"nothing.*"};
  EXPECT_EQ(complaint(), "No fact is called 'nothing.*'");
  options_.nodes = {"node[1-"};
  EXPECT_NE(complaint().find("Node set 'node[1-'"), std::string::npos);
  options_.nodes = {};
  options_.run = "77";
  EXPECT_NE(complaint().find("77"), std::string::npos);
}

TEST_F(show_facts_, shows_hostile_text_harmlessly) {
  store({{"node1", "memory",
          "module: \x1b[2J\nmodule: " + std::string(5000, 'y') + "\n"}});
  const std::string all = shown();
  EXPECT_EQ(all.find('\x1b'), all.npos);
  EXPECT_NE(all.find("\\x1b[2J"), all.npos);
  EXPECT_LT(all.size(), 1000U);
}

TEST_F(show_facts_, reads_a_file_by_a_description) {
  options_.from_file = files_.write("out.txt", "module: a\n");
  EXPECT_EQ(complaint(),
            "--from-file needs one --provider, a name or a description");
  options_.providers = {"memory"};
  options_.form = "csv";
  EXPECT_EQ(shown(),
            "node,provider,option,fact,value,unit,type,better,compare\n"
            "-,memory,-,mem.modules,a,,list,none,equal\n");
  EXPECT_EQ(status_, 1);
  options_.providers = {files_.path("d/plain.xml")};
  EXPECT_NE(complaint().find("says nothing about facts"), std::string::npos);
  options_.from_file = files_.path("nowhere");
  options_.providers = {"memory"};
  EXPECT_NE(complaint().find("Unable to read"), std::string::npos);
}

}  // namespace
}  // namespace zelk::db
