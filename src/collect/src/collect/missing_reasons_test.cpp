#include "src/collect/src/collect/missing_reasons.h"

#include <gtest/gtest.h>

#include "src/collect/src/collect/test_plan.h"

namespace zelk::collect {
namespace {

using lines = std::vector<std::string>;

const std::vector<expected_result> all = {{"n1", "memory", "None"},
                                          {"n1", "stream", "quick"},
                                          {"n1", "stream", "full"}};

launch_outcome ended(ending how, int status = 0, std::string errors = "") {
  launch_outcome outcome;
  outcome.node = "n1";
  outcome.how = how;
  outcome.status = status;
  outcome.errors = std::move(errors);
  return outcome;
}

std::vector<why> reasons(const launch_outcome& outcome,
                         const launch_facts& facts = {}) {
  return reasons_of(outcome, all, testing::example_plan(1), facts);
}

TEST(reasons_of, gives_a_silent_node_one_reason_for_all) {
  launch_outcome outcome = ended(ending::refused);
  outcome.reason = "ssh: connect to host n1 port 22: Connection refused";
  outcome.common_reason = "ssh: connect to host: Connection refused";
  launch_facts facts;
  facts.tries = 3;
  const std::vector<why> found = reasons(outcome, facts);
  ASSERT_EQ(found.size(), 3u);
  for (const why& each : found)
    EXPECT_EQ(each, (why{shortfall::no_answer,
                         "ssh: connect to host n1 port 22: Connection refused "
                         "(3 tries)",
                         "ssh: connect to host: Connection refused (3 tries)",
                         true}));
}

TEST(reasons_of, tells_the_ways_of_not_answering_apart) {
  const std::pair<ending, shortfall> cases[] = {
      {ending::no_route, shortfall::no_answer},
      {ending::unknown_host, shortfall::no_answer},
      {ending::connect_timeout, shortfall::no_answer},
      {ending::host_key, shortfall::host_key},
      {ending::login, shortfall::no_login},
      {ending::program_missing, shortfall::no_worker},
      {ending::wrong_version, shortfall::wrong_version},
      {ending::signalled, shortfall::killed},
      {ending::lost, shortfall::lost},
      {ending::stopped, shortfall::stopped},
      {ending::launcher_failed, shortfall::not_launched},
  };
  for (const auto& [how, kind] : cases) {
    SCOPED_TRACE(ending_name(how));
    const std::vector<why> found = reasons(ended(how));
    EXPECT_EQ(found.front().kind, kind);
    EXPECT_FALSE(found.front().reason.empty());
    EXPECT_TRUE(found.front().of_node);
  }
}

TEST(reasons_of, blames_the_provider_that_was_running_at_the_limit) {
  launch_facts facts;
  facts.last_provider_took = 61.4;
  facts.limit_typed = true;
  const std::vector<why> found = reasons(ended(ending::timed_out), facts);
  EXPECT_EQ(found[0].reason, "stopped after 61 s (limit 60 s from --timeout)");
  EXPECT_FALSE(found[0].of_node);
  EXPECT_EQ(found[1].reason,
            "not begun: the worker was stopped at its time limit");
  EXPECT_EQ(found[2].kind, shortfall::timed_out);
}

TEST(reasons_of, reads_why_a_provider_is_not_required) {
  plan made = testing::example_plan(1);
  made.providers[0].architecture = "x86_64";
  const std::vector<why> found = reasons_of(
      ended(ending::exited, 0,
            "The system does not match the architecture required by memory\n"),
      {all[0]}, made, {});
  EXPECT_EQ(found[0].kind, shortfall::not_required);
  EXPECT_EQ(found[0].reason, "runs only on x86_64");
}

TEST(reasons_of, matches_the_lines_of_a_worker_with_what_is_missing) {
  const std::vector<why> found = reasons(ended(
      ending::exited, 0,
      "Could not open '/opt/zelkara/etc/providers/memory.xml'. Skipping...\n"
      "/etc/providers/stream.xml:4: expected a number\r\n"
      "Error parsing the XML file\n"
      "Error executing popen3 (11): Resource temporarily unavailable\n"
      "Some other error running the provider\n"));
  EXPECT_EQ(found[0].reason,
            "cannot read its description "
            "/opt/zelkara/etc/providers/memory.xml");
  EXPECT_EQ(found[1].reason, "/etc/providers/stream.xml:4: expected a number");
  EXPECT_EQ(found[2].reason,
            "Error executing popen3 (11): Resource temporarily unavailable");
  EXPECT_EQ(found[2].kind, shortfall::failed);
}

// What went before a line about another provider explains nothing here.
TEST(reasons_of, goes_by_the_name_in_a_line_before_the_order) {
  const std::vector<why> found =
      reasons(ended(ending::exited, 0,
                    "Minimum number of nodes required to run data provider "
                    "'stream' not met.\n"
                    "Please check min_nodes, max_nodes and nodefile\n"));
  EXPECT_EQ(found[0].kind, shortfall::no_result);
  EXPECT_EQ(found[1].kind, shortfall::failed);
  EXPECT_EQ(found[2].kind, shortfall::no_result);
}

TEST(reasons_of, says_so_when_nothing_explains_it) {
  const std::vector<why> found = reasons(ended(ending::exited));
  EXPECT_EQ(found[0].kind, shortfall::no_result);
  EXPECT_EQ(found[0].reason,
            "the worker ended without an error, but no result came");
}

TEST(reasons_of, gives_the_last_words_of_a_worker_that_could_not_begin) {
  const std::vector<why> found = reasons(
      ended(ending::exited, 1, "first\nCannot read \x1b[2J zelk.xml\n\n"));
  EXPECT_EQ(found[2].reason,
            "the worker could not begin (exit status 1): Cannot read ?[2J "
            "zelk.xml");
  EXPECT_TRUE(found[2].of_node);
  EXPECT_EQ(reasons(ended(ending::exited, 15))[0].kind, shortfall::killed);
}

TEST(reasons_of, has_nothing_to_say_of_nothing) {
  EXPECT_TRUE(
      reasons_of(ended(ending::timed_out), {}, testing::example_plan(1), {})
          .empty());
}

TEST(other_lines, leaves_out_what_reasons_are_made_of) {
  EXPECT_EQ(other_lines("exit status from data provider 'sysctl' is '83'\n"
                        "warning: late\r\n"
                        "\n"
                        "Error parsing the XML file\n"
                        "the end"),
            (lines{"warning: late", "the end"}));
  EXPECT_EQ(other_lines(""), lines{});
}

}  // namespace
}  // namespace zelk::collect
