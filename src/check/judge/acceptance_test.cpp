#include <gtest/gtest.h>

#include "src/check/judge/test_judging.h"

namespace zelk::check {

namespace {

acceptance of(const std::string& check, const std::vector<std::string>& nodes,
              std::int64_t id = 7) {
  acceptance result;
  result.id = id;
  result.check = check;
  result.nodes = nodes;
  return result;
}

judgement accepted_by(const run_builder& run,
                      const std::vector<acceptance>& all) {
  return judged_by(run.data(), {}, nullptr, default_options(), all);
}

// Six nodes, three of which have another value: nobody knows who is right.
run_builder tied() {
  run_builder run(6);
  run.text("p", "a").all("x").on(4, "y").on(5, "y").on(6, "y");
  return run;
}

TEST(acceptance, of_some_nodes_leaves_the_finding_to_the_others) {
  run_builder run(20);
  run.text("p", "a").all("x").on(3, "y").on(4, "y").on(5, "y");
  const judgement said = accepted_by(run, {of("p-differs", {"n3", "n5"})});
  ASSERT_EQ(said.findings.size(), 1U);
  EXPECT_EQ(nodes_of(said.findings[0]), "n4");
  ASSERT_EQ(said.accepted.size(), 1U);
  EXPECT_EQ(nodes_of(said.accepted[0]), "n3 n5");
  EXPECT_EQ(verdict_of(said, "n3"), "healthy");
  EXPECT_EQ(verdict_of(said, "n4"), "suspect");
}

TEST(acceptance, of_one_of_two_groups_accepts_the_finding) {
  for (const std::vector<std::string>& group :
       {std::vector<std::string>{"n1", "n2", "n3"}, {"n4", "n5", "n6"}}) {
    const judgement said = accepted_by(tied(), {of("p-differs", group)});
    EXPECT_TRUE(said.findings.empty()) << everything_in(said);
    ASSERT_EQ(said.accepted.size(), 1U);
    EXPECT_EQ(said.accepted[0].accepted->id, 7);
    EXPECT_EQ(verdict_of(said, "n1"), "healthy");
  }
}

TEST(acceptance, of_a_group_may_be_made_in_two_steps) {
  const judgement said = accepted_by(
      tied(), {of("p-differs", {"n4", "n5"}, 1), of("p-*", {"n6"}, 2)});
  EXPECT_TRUE(said.findings.empty()) << everything_in(said);
}

TEST(acceptance, of_a_part_of_a_group_is_told_and_counts_for_its_nodes) {
  const judgement said = accepted_by(tied(), {of("p-differs", {"n4", "n1"})});
  ASSERT_EQ(said.findings.size(), 1U);
  EXPECT_EQ(said.findings[0].nodes.size(), 6U);
  EXPECT_EQ(said.findings[0].accepted_nodes,
            (std::vector<std::string>{"n1", "n4"}));
  EXPECT_TRUE(said.findings[0].message.starts_with(
      "accepted on 2 of its 6 nodes; a: no majority"))
      << said.findings[0].message;
  EXPECT_EQ(verdict_of(said, "n1"), "healthy");
  EXPECT_EQ(verdict_of(said, "n2"), "healthy");  // nobody knows who is right
  EXPECT_EQ(said.overall, verdict::suspect);
  EXPECT_EQ(said.nodes[0].cells[1], cell_state::accepted);
}

TEST(acceptance, of_one_half_of_numbers_in_two_groups_accepts_them) {
  run_builder run(12);
  auto& rate = run.number("p", "rate").all(100);
  for (std::size_t node = 1; node <= 12; ++node)
    rate.on(node, (node > 6 ? 50.0 : 100.0) + static_cast<double>(node % 3));
  ASSERT_EQ(accepted_by(run, {}).findings.size(), 1U);
  const std::vector<std::string> slow = {"n7", "n8", "n9", "n10", "n11", "n12"};
  EXPECT_TRUE(accepted_by(run, {of("p-outlier", slow)}).findings.empty());
  const judgement said = accepted_by(run, {of("p-outlier", {"n7"})});
  ASSERT_EQ(said.findings.size(), 1U);
  EXPECT_EQ(said.findings[0].accepted_nodes, std::vector<std::string>{"n7"});
}

// The finding is about the slow ones, but it is the same statement.
TEST(acceptance, of_the_other_half_accepts_them_too) {
  run_builder run(12);
  auto& rate = run.number("p", "rate").better(facts::better::higher).all(100);
  for (std::size_t node = 1; node <= 12; ++node)
    rate.on(node, (node > 8 ? 50.0 : 100.0) + static_cast<double>(node % 3));
  ASSERT_EQ(nodes_of(accepted_by(run, {}).findings.at(0)), "n9 n10 n11 n12");
  const judgement said = accepted_by(
      run, {of("p-outlier", {"n1", "n2", "n3", "n4", "n5", "n6", "n7", "n8"})});
  EXPECT_TRUE(said.findings.empty()) << everything_in(said);
  EXPECT_EQ(said.accepted.size(), 1U);
}

TEST(acceptance, of_other_nodes_changes_nothing) {
  const judgement said = accepted_by(tied(), {of("p-differs", {"n99"})});
  ASSERT_EQ(said.findings.size(), 1U);
  EXPECT_TRUE(said.findings[0].accepted_nodes.empty());
}

}  // namespace

}  // namespace zelk::check
