#include "src/check/input/fact_table.h"

#include <gtest/gtest.h>

namespace zelk::check {
namespace {

facts::extraction said(
    const std::vector<std::pair<std::string, std::int64_t>>& facts) {
  facts::extraction made;
  for (const auto& [name, value] : facts)
    made.facts.push_back({name, value, {}});
  return made;
}

run_data of_nodes(int count) {
  run_data run;
  for (int i = 0; i < count; ++i)
    run.nodes.push_back("n" + std::to_string(i));
  return run;
}

TEST(fact_table, leaves_out_the_names_that_the_fewest_nodes_have) {
  run_data run = of_nodes(4);
  table_limits limits;
  limits.cells = 16;  // two columns of four nodes: half of it
  fact_table table(run, limits);
  table.begin("p", "");
  table.add(said({{"common", 1}, {"usual", 2}}), 1, {0, 1});
  table.add(said({{"common", 1}, {"a-rare-one", 2}, {"usual", 2}}), 1, {2});
  table.end();
  table.finish();
  ASSERT_EQ(run.facts.size(), 2U);
  EXPECT_EQ(run.facts[0].name, "common");
  EXPECT_EQ(run.facts[1].name, "usual");
  ASSERT_EQ(run.unread.size(), 1U);
  EXPECT_EQ(run.unread[0].name, "*");
  EXPECT_EQ(run.unread[0].reason,
            "more facts than can be held; 2 names kept, those that most nodes "
            "have");
  EXPECT_EQ(run.unread[0].nodes, std::vector<std::uint32_t>{2});
}

TEST(fact_table, leaves_the_next_provider_its_share) {
  run_data run = of_nodes(1);
  table_limits limits;
  limits.cells = 8;
  fact_table table(run, limits);
  facts::extraction many;
  for (char c = 'a'; c <= 'z'; ++c)
    many.facts.push_back({std::string(1, c), std::int64_t{1}, {}});
  table.begin("greedy", "");
  table.add(many, 1, {0});
  table.end();
  table.begin("modest", "");
  table.add(said({{"one", 1}}), 1, {0});
  table.end();
  table.finish();
  EXPECT_EQ(run.facts.size(), 5U);
  EXPECT_EQ(run.facts.back().name, "one");
}

TEST(fact_table, bounds_values_and_reasons) {
  run_data run = of_nodes(3);
  table_limits limits;
  limits.value_bytes = 200;
  limits.reasons = 1;
  fact_table table(run, limits);
  facts::extraction huge;
  huge.facts.push_back({"text", std::string(10'000, 'x'), {}});
  huge.unread = {{"a", "first"}, {"b", "second"}};
  table.begin("p", "");
  table.add(said({{"number", 1}}), 1, {0, 1});
  table.add(huge, 1, {2});
  table.end();
  table.finish();
  ASSERT_EQ(run.facts.size(), 1U);
  std::vector<std::string> reasons;
  for (const unread_fact& each : run.unread)
    reasons.push_back(each.name + " " + each.reason);
  EXPECT_EQ(reasons,
            (std::vector<std::string>{
                "* more facts than can be held; 1 name kept, those that most "
                "nodes have",
                "* more facts that could not be read", "a first"}));
}

TEST(fact_table, takes_the_traits_of_the_newest_version) {
  run_data run = of_nodes(2);
  fact_table table(run);
  table.begin("p", "");
  facts::extraction newer = said({{"x", 1}});
  newer.facts[0].traits.unit = "MiB";
  table.add(newer, 4, {0});
  table.add(said({{"x", 1}}), 3, {1});
  table.end();
  table.finish();
  EXPECT_EQ(run.facts.at(0).traits.unit, "MiB");
}

TEST(fact_table, says_once_what_is_unread_in_several_option_sets) {
  run_data run = of_nodes(2);
  fact_table table(run);
  for (const char* option : {"a", "b"}) {
    table.begin("p", option);
    table.add_unread("x", "why", {1});
    table.add_unread("x", "why", {0, 1});
    table.end();
  }
  table.finish();
  ASSERT_EQ(run.unread.size(), 1U);
  EXPECT_EQ(run.unread[0].nodes, (std::vector<std::uint32_t>{0, 1}));
}

TEST(value_table, holds_equal_values_once_and_numbers_apart_from_texts) {
  std::vector<fact_value> values;
  value_table table(values, 1'000'000);
  const std::uint32_t one = table.index_of(std::int64_t{1});
  EXPECT_EQ(table.index_of(std::int64_t{1}), one);
  EXPECT_NE(table.index_of(std::string("1")), one);
  EXPECT_EQ(values[table.index_of(true)].number, 1.0);
  EXPECT_EQ(values[table.index_of(2.5)].text, "2.5");
  for (std::int64_t i = 0; i < 5000; ++i)
    table.index_of(i);
  EXPECT_EQ(values[table.index_of(std::int64_t{4321})].text, "4321");
  EXPECT_EQ(values.size(), 5003U);
}

TEST(value_table, takes_no_more_than_it_may) {
  std::vector<fact_value> values;
  value_table table(values, 100);
  EXPECT_EQ(table.index_of(std::string(1000, 'x')), no_value);
  EXPECT_EQ(table.index_of(std::string("short")), 0U);
}

}  // namespace
}  // namespace zelk::check
