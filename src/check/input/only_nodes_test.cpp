#include "src/check/input/only_nodes.h"

#include <gtest/gtest.h>

#include "src/check/test_judgement.h"

namespace zelk::check {
namespace {

using name_list = std::vector<std::string>;

TEST(only_nodes, says_only_what_is_about_them) {
  const judgement all = example_judgement();
  const name_list wanted = {"node071", "node100"};
  const judgement some = only_nodes(all, wanted, example_run());
  ASSERT_EQ(some.nodes.size(), 2U);
  EXPECT_EQ(some.counts.healthy + some.counts.suspect + some.counts.unhealthy +
                some.counts.unknown,
            2U);
  EXPECT_FALSE(some.findings.empty());
  EXPECT_LT(some.findings.size(), all.findings.size());
  for (const finding& each : some.findings)
    for (const std::string& name : each.nodes)
      EXPECT_TRUE(name == wanted[0] || name == wanted[1]) << name;
  EXPECT_TRUE(some.history.empty());
}

TEST(only_nodes, keeps_findings_and_their_nodes_together) {
  const judgement some = only_nodes(example_judgement(), {"node071"}, {});
  ASSERT_EQ(some.nodes.size(), 1U);
  ASSERT_FALSE(some.nodes[0].findings.empty());
  for (const std::uint32_t place : some.nodes[0].findings)
    EXPECT_EQ(some.findings.at(place).nodes, name_list{"node071"});
  EXPECT_EQ(some.overall, verdict::unhealthy);
}

TEST(only_nodes, calls_a_healthy_node_healthy) {
  const judgement all = example_judgement();
  for (const node_view& each : all.nodes) {
    if (each.what != verdict::healthy) continue;
    const judgement one = only_nodes(all, {each.name}, {});
    EXPECT_EQ(one.overall, verdict::healthy);
    EXPECT_EQ(one.counts.healthy, 1U);
    return;
  }
  ADD_FAILURE() << "the example has no healthy node";
}

TEST(only_nodes, is_sure_of_nothing_where_no_node_is_known) {
  judgement all;
  all.nodes.resize(2);
  all.nodes[0] = {"a", "", "", "", verdict::healthy, {}, {}};
  all.nodes[1] = {"b", "", "", "", verdict::unknown, {}, {}};
  all.unread.push_back({"p", "f", "why", {1}});
  EXPECT_EQ(only_nodes(all, {"a", "b"}, {}).counts.unknown, 1U);
  const judgement b = only_nodes(all, {"b"}, {});
  EXPECT_EQ(b.overall, verdict::unknown);
  ASSERT_EQ(b.unread.size(), 1U);
  EXPECT_EQ(b.unread[0].nodes, std::vector<std::uint32_t>{0});
  EXPECT_TRUE(only_nodes(all, {"a"}, {}).unread.empty());
}

TEST(only_nodes, counts_the_results_of_these_nodes) {
  run_data run;
  run.nodes = {"a", "b", "c"};
  run.providers.resize(2);
  const auto put = [&](std::size_t provider, const std::vector<answer>& all) {
    for (const answer what : all)
      run.providers[provider].answers.push_back({what, 0, "", 0, 0});
  };
  put(0, {answer::ok, answer::missing, answer::ok});
  put(1, {answer::failed, answer::missing, answer::not_expected});
  judgement all;
  all.run.results_expected = 5;
  all.nodes.resize(3);
  for (std::size_t i = 0; i < 3; ++i)
    all.nodes[i].name = run.nodes[i];
  const judgement some = only_nodes(all, {"a", "b"}, run);
  EXPECT_EQ(some.run.results_expected, 4U);
  EXPECT_EQ(some.run.results, 2U);
  EXPECT_EQ(some.run.nodes_expected, 2U);
  EXPECT_EQ(some.run.nodes, 1U);
}

}  // namespace
}  // namespace zelk::check
