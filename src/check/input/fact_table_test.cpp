#include "src/check/input/fact_table.h"

#include <memory>

#include <gtest/gtest.h>

#include "src/common/facts/test_declaration.h"

namespace zelk::check {
namespace {

using declaration_pointer = std::shared_ptr<const facts::declaration>;

class fact_table_ : public facts::declaration_fixture {
 protected:
  declaration_pointer numbers(const std::string& more = "") {
    return declared("equals",
                    "<fact name='{1}' from='([a-z-]+)' "
                    "type='integer' " +
                        more + "/>");
  }

  // What a node with that output says.
  static void add(fact_table& table, const declaration_pointer& by,
                  const std::string& output, std::int32_t version,
                  const std::vector<std::uint32_t>& nodes) {
    facts::output_series& series = table.series(by);
    table.add(series, series.read(output, 0), version, nodes);
  }
};

run_data of_nodes(int count) {
  run_data run;
  for (int i = 0; i < count; ++i)
    run.nodes.push_back("n" + std::to_string(i));
  return run;
}

TEST_F(fact_table_, leaves_out_the_names_that_the_fewest_nodes_have) {
  run_data run = of_nodes(4);
  table_limits limits;
  limits.cells = 16;  // two columns of four nodes: half of it
  fact_table table(run, limits);
  table.begin("p", "");
  add(table, numbers(), "common=1\nusual=2\n", 1, {0, 1});
  add(table, numbers(), "common=1\na-rare-one=2\nusual=2\n", 1, {2});
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

TEST_F(fact_table_, leaves_the_next_provider_its_share) {
  run_data run = of_nodes(1);
  table_limits limits;
  limits.cells = 8;
  fact_table table(run, limits);
  std::string many;
  for (char c = 'a'; c <= 'z'; ++c)
    many += std::string(1, c) + "=1\n";
  table.begin("greedy", "");
  add(table, numbers(), many, 1, {0});
  table.end();
  table.begin("modest", "");
  add(table, numbers(), "one=1\n", 1, {0});
  table.end();
  table.finish();
  EXPECT_EQ(run.facts.size(), 5U);
  EXPECT_EQ(run.facts.back().name, "one");
}

TEST_F(fact_table_, bounds_values_and_reasons) {
  run_data run = of_nodes(3);
  table_limits limits;
  limits.value_bytes = 200;
  limits.reasons = 1;
  fact_table table(run, limits);
  table.begin("p", "");
  add(table, numbers(), "number=1\n", 1, {0, 1});
  add(table, declared("equals", "<fact name='text' from='text'/>"),
      "text=" + facts::many(10'000, 'x'), 1, {2});
  table.add_unread("a", "first", {2});
  table.add_unread("b", "second", {2});
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

TEST_F(fact_table_, takes_the_traits_of_the_newest_version) {
  run_data run = of_nodes(2);
  fact_table table(run);
  table.begin("p", "");
  add(table, numbers("unit='MiB'"), "x=1\n", 4, {0});
  add(table, numbers(), "x=1\n", 3, {1});
  table.end();
  table.finish();
  EXPECT_EQ(run.facts.at(0).traits.unit, "MiB");
}

TEST_F(fact_table_, says_once_what_is_unread_in_several_option_sets) {
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

}  // namespace
}  // namespace zelk::check
