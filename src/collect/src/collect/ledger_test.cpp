#include "src/collect/src/collect/ledger.h"

#include <gtest/gtest.h>

#include "src/collect/src/collect/test_plan.h"

namespace zelk::collect {
namespace {

using clock = ledger::clock;
using names = std::vector<std::string>;
using std::chrono::seconds;

const clock::time_point start;

expected_result memory_of(const std::string& node) {
  return {node, "memory", "None"};
}

why silent(const std::string& node) {
  return {shortfall::no_answer, "ssh: " + node + " is silent",
          "ssh: it is silent", true};
}

bool came(ledger& account, const expected_result& what, int status = 0,
          double duration = 1) {
  return account.came(what, status, duration, start);
}

TEST(ledger, counts_what_comes) {
  ledger account(testing::example_plan(2));
  EXPECT_EQ(account.expected(), 6u);
  EXPECT_EQ(account.nodes(), 2u);
  EXPECT_TRUE(came(account, memory_of("n1")));
  EXPECT_TRUE(came(account, {"n1", "stream", "full"}));
  EXPECT_EQ(account.received(), 2u);
  EXPECT_EQ(account.answering(), 1u);
  EXPECT_FALSE(account.complete());
  EXPECT_TRUE(account.answers("n1"));
  EXPECT_FALSE(account.answers("n2"));
}

TEST(ledger, counts_a_result_once) {
  ledger account(testing::example_plan(1));
  EXPECT_TRUE(came(account, memory_of("n1")));
  EXPECT_FALSE(came(account, memory_of("n1")));
  EXPECT_EQ(account.received(), 1u);
}

// A stranger at the endpoint, or a site's own option set.
TEST(ledger, does_not_count_what_nobody_expected) {
  ledger account(testing::example_plan(1));
  EXPECT_FALSE(came(account, {"n9", "memory", "None"}));
  EXPECT_FALSE(came(account, {"n1", "memory", "other"}));
  EXPECT_FALSE(came(account, {"n1", "", ""}));
  EXPECT_EQ(account.received(), 0u);
}

TEST(ledger, takes_a_result_that_was_given_up) {
  ledger account(testing::example_plan(1));
  account.give_up({"n1", "", ""}, silent("n1"));
  EXPECT_EQ(account.lacking(), 3u);
  EXPECT_TRUE(came(account, memory_of("n1")));
  EXPECT_EQ(account.lacking(), 2u);
}

TEST(ledger, names_a_silent_node_once_and_each_of_its_results) {
  ledger account(testing::example_plan(2));
  account.give_up({"n2", "", ""}, silent("n2"));
  for (const expected_result& what : account.waiting())
    came(account, what);
  const std::vector<missing_result> missing = account.missing();
  ASSERT_EQ(missing.size(), 4u);
  EXPECT_EQ(missing[0].what, (expected_result{"n2", "", ""}));
  EXPECT_EQ(missing[0].reason, "ssh: n2 is silent");
  EXPECT_EQ(missing[3].what, (expected_result{"n2", "stream", "full"}));
  EXPECT_EQ(account.nodes_lacking(), names{"n2"});
}

TEST(ledger, folds_nodes_that_fall_short_alike) {
  ledger account(testing::example_plan(3));
  for (const char* node : {"n1", "n3"})
    account.give_up({node, "", ""}, silent(node));
  came(account, memory_of("n2"), 7);
  came(account, {"n2", "stream", "quick"}, 124, 60.2);
  came(account, {"n2", "stream", "full"}, 139);
  const std::vector<shortfall_row> rows = account.rows();
  ASSERT_EQ(rows.size(), 4u);
  EXPECT_EQ(rows[0].kind, shortfall::no_answer);
  EXPECT_EQ(rows[0].reason, "ssh: it is silent");
  EXPECT_EQ(rows[0].nodes, (names{"n1", "n3"}));
  EXPECT_EQ(rows[1].kind, shortfall::timed_out);
  EXPECT_EQ(rows[1].reason, "stopped after 60 s (limit 60 s from description)");
  EXPECT_EQ(rows[1].providers, names{"stream:quick"});
  EXPECT_EQ(rows[2].reason, "exit status 7");
  EXPECT_EQ(rows[2].providers, names{"memory"});
  EXPECT_EQ(rows[3].reason, "ended by signal 11");
  EXPECT_EQ(account.cut_off(), 1u);
}

TEST(ledger, folds_providers_that_fall_short_alike_on_the_same_nodes) {
  ledger account(testing::example_plan(2));
  for (const expected_result& what : account.waiting())
    came(account, what, what.option == "full" && what.node == "n2" ? 81 : 82);
  const std::vector<shortfall_row> rows = account.rows();
  ASSERT_EQ(rows.size(), 3u);
  EXPECT_EQ(rows[0].kind, shortfall::not_measured);
  EXPECT_EQ(rows[0].reason, "exit status 82 (no permission)");
  EXPECT_EQ(rows[0].providers, (names{"memory", "stream:quick"}));
  EXPECT_EQ(rows[0].nodes, (names{"n1", "n2"}));
  EXPECT_EQ(rows[1].nodes, names{"n1"});
  EXPECT_EQ(rows[2].reason, "exit status 81 (a tool is missing)");
}

// "timeout" inside a provider ends with the same status, and long before.
TEST(ledger, takes_status_124_before_the_limit_for_a_failure) {
  ledger account(testing::example_plan(1));
  came(account, memory_of("n1"), 124, 5);
  EXPECT_EQ(account.rows().front().kind, shortfall::failed);
  EXPECT_EQ(account.cut_off(), 0u);
}

TEST(ledger, takes_the_states_of_a_plugin_for_answers) {
  plan made = testing::example_plan(1);
  for (planned_provider& each : made.providers)
    each.plugin = each.name == "memory";
  ledger account(made);
  EXPECT_TRUE(account.is_answer(memory_of("n1"), 3));
  EXPECT_FALSE(account.is_answer(memory_of("n1"), 4));
  EXPECT_FALSE(account.is_answer({"n1", "stream", "full"}, 1));
  EXPECT_FALSE(account.is_answer({"n1", "unheard", "None"}, 1));
  came(account, memory_of("n1"), 2);
  for (const shortfall_row& row : account.rows())
    EXPECT_NE(row.kind, shortfall::failed);
}

TEST(ledger, lacks_nothing_when_a_node_has_no_such_thing) {
  plan made = testing::example_plan(1);
  made.not_required.push_back({"n1", "gpu", "runs only on role enhanced"});
  ledger account(made);
  came(account, memory_of("n1"), 80);
  came(account, {"n1", "stream", "full"});
  account.give_up({"n1", "stream", "quick"},
                  {shortfall::not_required, "r", "runs only on x86_64", false});
  EXPECT_EQ(account.lacking(), 0u);
  const std::vector<shortfall_row> rows = account.rows();
  ASSERT_EQ(rows.size(), 3u);
  EXPECT_EQ(rows[0].kind, shortfall::not_applicable);
  EXPECT_EQ(rows[1].reason, "runs only on x86_64");
  EXPECT_EQ(rows[2].reason, "runs only on role enhanced");
  EXPECT_EQ(rows[2].providers, names{"gpu"});
}

TEST(ledger, no_longer_expects_what_is_stored) {
  ledger account(testing::example_plan(2));
  for (const char* option : {"quick", "full"})
    EXPECT_TRUE(account.remove({"n1", "stream", option}));
  EXPECT_TRUE(account.remove(memory_of("n1")));
  EXPECT_FALSE(account.remove(memory_of("n1")));
  EXPECT_FALSE(account.remove(memory_of("n7")));
  EXPECT_EQ(account.expected(), 3u);
  EXPECT_EQ(account.nodes(), 1u);
  EXPECT_EQ(account.waiting().size(), 3u);
  EXPECT_TRUE(account.rows().empty() || account.rows()[0].nodes == names{"n2"});
  EXPECT_FALSE(came(account, memory_of("n1")));
}

TEST(ledger, knows_who_is_waited_for_the_longest) {
  ledger account(testing::example_plan(3));
  EXPECT_FALSE(account.slowest(start).has_value());
  for (const char* node : {"n1", "n2", "n3"})
    account.launched(node, start);
  account.came(memory_of("n2"), 0, 1, start + seconds(2));
  account.came(memory_of("n3"), 0, 1, start + seconds(5));
  // n1 has said nothing; perhaps it is not its turn.
  auto slowest = account.slowest(start + seconds(10));
  ASSERT_TRUE(slowest.has_value());
  EXPECT_EQ(slowest->node, "n2");
  EXPECT_EQ(slowest->provider, "stream");
  EXPECT_DOUBLE_EQ(slowest->since.count(), 8);
  account.ended("n2");
  account.ended("n3");
  slowest = account.slowest(start + seconds(10));
  ASSERT_TRUE(slowest.has_value());
  EXPECT_EQ(slowest->node, "n1");
}

TEST(ledger, tells_what_was_never_waited_for) {
  const ledger account(testing::example_plan(1));
  const std::vector<missing_result> missing = account.missing();
  ASSERT_EQ(missing.size(), 4u);
  EXPECT_EQ(missing[0].reason, "not waited for");
}

}  // namespace
}  // namespace zelk::collect
