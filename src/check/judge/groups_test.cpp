// Groups of nodes of which nobody can tell which is right.

#include <gtest/gtest.h>

#include "src/check/judge/test_judging.h"

namespace zelk::check {

namespace {

run_builder with_odd(std::size_t nodes, std::size_t odd) {
  run_builder run(nodes);
  auto& fact = run.text("bios", "version").all("1.2");
  for (std::size_t node = 1; node <= odd; ++node)
    fact.on(node, "1.3");
  return run;
}

TEST(groups, of_a_tie_are_named_and_blame_nobody) {
  const judgement said = judged(with_odd(16, 8).data());
  ASSERT_EQ(said.findings.size(), 1U);
  const finding& found = said.findings[0];
  EXPECT_TRUE(found.blames_nobody);
  ASSERT_EQ(found.groups.size(), 2U);
  EXPECT_EQ(found.groups[0].first, "1.2");
  EXPECT_EQ(found.groups[1].second.size(), 8U);
  EXPECT_EQ(found.message,
            "version: no majority: 8 have 1.2 (n[9-16]), 8 have 1.3 (n[1-8])");
  EXPECT_EQ(said.counts.healthy, 16U);
  EXPECT_EQ(said.overall, verdict::suspect);
  EXPECT_EQ(said.nodes[0].cells[1], cell_state::info);
}

TEST(groups, begin_with_a_quarter_of_a_class) {
  const judgement few = judged(with_odd(32, 7).data());
  EXPECT_EQ(nodes_of(finding_of(few, "bios-differs")), "n1 n2 n3 n4 n5 n6 n7");
  EXPECT_EQ(few.counts.suspect, 7U);
  const judgement many = judged(with_odd(32, 15).data());
  EXPECT_EQ(many.findings.at(0).message,
            "version: two groups of nodes: 17 have 1.2 (n[16-32]), 15 have 1.3 "
            "(n[1-15])");
  EXPECT_EQ(many.counts.suspect, 0U);
}

TEST(groups, leave_single_odd_nodes_to_blame) {
  run_builder run(32);
  auto& fact = run.text("bios", "version").all("1.2").on(32, "0.9");
  for (std::size_t node = 1; node <= 12; ++node)
    fact.on(node, "1.3");
  const judgement said = judged(run.data());
  ASSERT_EQ(said.findings.size(), 2U) << everything_in(said);
  EXPECT_EQ(said.counts.suspect, 1U);
  EXPECT_EQ(verdict_of(said, "n32"), "suspect");
}

TEST(groups, are_none_of_nodes_that_lack_what_others_have) {
  run_builder run(20);
  auto& fact = run.text("mounts", "mount./scratch").all("lustre");
  for (std::size_t node = 1; node <= 6; ++node)
    fact.none_on(node);
  EXPECT_EQ(judged(run.data()).counts.suspect, 6U);
}

TEST(groups, of_numbers_are_named_too) {
  run_builder run(12);
  auto& rate = run.number("p", "rate").all(100);
  for (std::size_t node = 1; node <= 12; ++node)
    rate.on(node, (node > 6 ? 50.0 : 100.0) + static_cast<double>(node % 3));
  const finding found = judged(run.data()).findings.at(0);
  ASSERT_EQ(found.groups.size(), 2U);
  EXPECT_EQ(found.groups[0].second.front(), "n7");
  EXPECT_TRUE(found.blames_nobody);
}

TEST(applies, accuses_only_nodes_that_have_not_what_others_have) {
  run_builder run(20);
  run.text("gpu", "gpu.name").all("A100");
  for (std::size_t node = 1; node <= 17; ++node)
    run.ended("gpu", node, answer::not_applicable);
  EXPECT_TRUE(judged(run.data()).findings.empty());
  run_builder other(20);
  other.text("gpu", "gpu.name").all("A100");
  other.ended("gpu", 4, answer::not_applicable);
  EXPECT_EQ(nodes_of(finding_of(judged(other.data()), "gpu-differs")), "n4");
}

}  // namespace

}  // namespace zelk::check
