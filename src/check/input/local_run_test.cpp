#include "src/check/input/local_run.h"

#include <gtest/gtest.h>

#include "src/collect/src/reading/failure.h"
#include "src/common/datastore/test_scratch.h"
#include "src/common/log/captured_log.h"

namespace zelk::check {
namespace {

TEST(patterns_meet, tells_whether_a_name_fits_both) {
  const struct {
    const char* a;
    const char* b;
    bool meet;
  } cases[] = {
      {"mem.total", "mem.total", true},
      {"mem.total", "mem.free", false},
      {"net.*.mtu", "net.eth0.mtu", true},
      {"net.*.mtu", "net.*.state", false},
      {"net.*", "*.mtu", true},
      {"*", "", true},
      {"mem.?", "mem.ab", false},
      {"a*c", "ab*", true},
      {"", "x", false},
      {"fs.*.free", "fs.*", true},
  };
  for (const auto& each : cases) {
    SCOPED_TRACE(std::string(each.a) + " and " + each.b);
    EXPECT_EQ(patterns_meet(each.a, each.b), each.meet);
    EXPECT_EQ(patterns_meet(each.b, each.a), each.meet);
  }
}

class measure_here_ : public testing::Test {
 protected:
  measure_here_() {
    wish_.install_root = ZELK_SOURCE_DIR;
    wish_.config_file = folder_.write("zelk.xml", "<zelk/>");
    wish_.descriptions = folder_.path() + "/providers";
    std::filesystem::create_directory(wish_.descriptions);
    give(std::chrono::seconds(30));
  }

  void give(std::chrono::seconds time) {
    wish_.deadline = std::chrono::steady_clock::now() + time;
  }

  void describe(const std::string& name, const std::string& command,
                const std::string& fact, const std::string& more = "") {
    folder_.write("providers/" + name + ".xml",
                  "<provider><command>" + command + "</command>" + more +
                      "<facts><fact name='" + fact +
                      "' from='(.+)' type='integer'/></facts></provider>");
  }

  static std::string value_of(const run_data& run, const std::string& fact) {
    for (const fact_column& each : run.facts)
      if (each.name == fact) return run.values.text(each.values[0]);
    return "none";
  }

  datastore::scratch folder_;
  log::captured_log log_;
  local_wish wish_;
};

TEST_F(measure_here_, runs_what_somebody_wants_and_nothing_else) {
  const std::string trace = folder_.file("ran");
  describe("memory", "printf 'total: 5\\n'", "mem.{1}");
  describe("other", "touch " + trace, "other.{1}");
  describe("cluster", "touch " + trace, "mem.of.all.{1}",
           "<requires min_nodes='2' max_nodes='4'/>");
  wish_.facts = {"mem.*"};
  const run_data run = measure_here(wish_);
  EXPECT_EQ(value_of(run, "mem.total"), "5");
  ASSERT_EQ(run.nodes.size(), 1U);
  ASSERT_EQ(run.providers.size(), 1U);
  EXPECT_EQ(run.providers[0].answers[0].what, answer::ok);
  EXPECT_FALSE(std::filesystem::exists(trace));
}

TEST_F(measure_here_, gives_option_sets_their_variables) {
  folder_.write("zelk.xml",
                "<zelk><provider_options><provider name='memory'>"
                "<option id='a'><variable name='SIZE'>7</variable></option>"
                "<option id='b'><variable name='SIZE'>8</variable></option>"
                "</provider></provider_options></zelk>");
  // The variables are those of the command: a shell of its own sees them.
  describe("memory", "sh -c 'echo \"total: $SIZE\"'", "mem.{1}");
  wish_.facts = {"mem.total"};
  const run_data run = measure_here(wish_);
  ASSERT_EQ(run.facts.size(), 2U);
  EXPECT_EQ(run.facts[0].option, "a");
  EXPECT_EQ(run.values.text(run.facts[0].values[0]), "7");
  EXPECT_EQ(run.values.text(run.facts[1].values[0]), "8");
}

TEST_F(measure_here_, loads_the_node_only_when_it_is_asked_for_by_name) {
  folder_.write("zelk.xml",
                "<zelk><collect><suites><suite name='performance'>"
                "<member>stress</member></suite></suites></collect></zelk>");
  describe("stress", "printf 'total: 5\\n'", "mem.{1}");
  wish_.facts = {"mem.*"};
  EXPECT_TRUE(measure_here(wish_).providers.empty());
  wish_.facts_by_name = {"mem.total"};
  EXPECT_EQ(value_of(measure_here(wish_), "mem.total"), "5");
}

TEST_F(measure_here_, keeps_to_its_deadline) {
  describe("hangs", "sleep 100", "mem.{1}");
  describe("later", "printf 'total: 5\\n'", "mem.later.{1}");
  wish_.facts = {"mem.*"};
  give(std::chrono::seconds(4));
  const auto begun = std::chrono::steady_clock::now();
  const run_data run = measure_here(wish_);
  EXPECT_LT(std::chrono::steady_clock::now() - begun, std::chrono::seconds(8));
  ASSERT_EQ(run.providers.size(), 2U);
  EXPECT_EQ(run.providers[0].answers[0].what, answer::timed_out);
  EXPECT_TRUE(run.providers[0].answers[0].reason.ends_with(
      " s, its share of the time for all, which -t sets"));
  EXPECT_EQ(value_of(run, "mem.later.total"), "5") << "starved";
}

TEST_F(measure_here_, runs_nothing_when_there_is_no_time) {
  describe("later", "printf 'total: 5\n'", "mem.later.{1}");
  wish_.facts = {"mem.*"};
  give(std::chrono::seconds(0));
  const run_data run = measure_here(wish_);
  ASSERT_EQ(run.providers.size(), 1U);
  EXPECT_EQ(run.providers[0].answers[0].what, answer::timed_out);
  EXPECT_EQ(run.providers[0].answers[0].reason,
            "no time was left for it: -t sets the time for all");
}

TEST_F(measure_here_, tells_what_failed) {
  describe("broken", "echo it broke &gt;&amp;2; exit 3", "mem.{1}");
  wish_.facts = {"mem.*"};
  const run_data run = measure_here(wish_);
  EXPECT_EQ(run.providers.at(0).answers.at(0).what, answer::failed);
  EXPECT_EQ(run.providers[0].answers[0].reason,
            "ended with status 3: it broke");
  EXPECT_TRUE(run.facts.empty());
}

TEST_F(measure_here_, refuses_a_folder_and_a_configuration_that_are_not_there) {
  wish_.facts = {"*"};
  wish_.config_file = folder_.file("nothing");
  EXPECT_THROW(measure_here(wish_), reading::refusal);
  wish_.config_file = folder_.write("zelk.xml", "<zelk/>");
  wish_.descriptions = folder_.file("nothing");
  EXPECT_THROW(measure_here(wish_), reading::refusal);
}

}  // namespace
}  // namespace zelk::check
