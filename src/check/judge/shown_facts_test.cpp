#include <gtest/gtest.h>

#include "src/check/judge/test_judging.h"

namespace zelk::check {
namespace {

const distribution* shown(const judgement& of, const std::string& fact) {
  for (const distribution& each : of.distributions)
    if (each.fact == fact) return &each;
  return nullptr;
}

std::vector<std::string> names_of(const judgement& of) {
  std::vector<std::string> out;
  for (const distribution& each : of.distributions)
    out.push_back(each.fact);
  return out;
}

// Between 0.9 and 1.1 times `middle`, a number a node.
fact_builder& spread(run_builder& run, const std::string& fact, double middle,
                     const std::string& unit = "",
                     facts::better direction = facts::better::none) {
  auto& column = run.number("p", fact).unit(unit).better(direction);
  for (std::size_t node = 1; node <= 20; ++node)
    column.on(node, middle * (0.9 + 0.01 * static_cast<double>(node)));
  return column;
}

TEST(distributions, of_numbered_parts_are_one_with_the_worst_of_each_node) {
  run_builder run(20);
  for (const int cpu : {0, 1, 31}) {
    auto& column =
        run.number("p", "jitter.cpu" + std::to_string(cpu) + ".noise")
            .better(facts::better::lower);
    for (std::size_t node = 1; node <= 20; ++node)
      column.on(node, 100 + cpu + static_cast<double>(node % 3));
  }
  run.number("p", "jitter.cpu7.noise").better(facts::better::lower).all(132.5);
  const judgement said = judged(run.data());
  ASSERT_EQ(names_of(said), std::vector<std::string>{"jitter.cpu*.noise"});
  const distribution& one = said.distributions[0];
  EXPECT_EQ(one.members, 4U);
  ASSERT_EQ(one.values.size(), 20U);
  EXPECT_EQ(one.values.front(), 132.5);  // of cpu7: alike, and worse
  EXPECT_EQ(one.values.back(), 133);
}

TEST(distributions, of_what_is_better_when_higher_take_the_least) {
  run_builder run(20);
  spread(run, "stream.socket.0.triad", 100, "MB/s", facts::better::higher);
  spread(run, "stream.socket.1.triad", 120, "MB/s", facts::better::higher);
  const judgement said = judged(run.data());
  const distribution* one = shown(said, "stream.socket.*.triad");
  ASSERT_NE(one, nullptr);
  EXPECT_NEAR(one->values.front(), 91, 1e-9);
  EXPECT_NEAR(one->values.back(), 110, 1e-9);
}

TEST(distributions, keep_numbers_that_say_what_was_measured) {
  run_builder run(20);
  for (const char* fact :
       {"load.1min", "load.15min", "wakeup.p99", "wakeup.p50", "b.10"})
    spread(run, fact, 10);
  EXPECT_EQ(judged(run.data()).distributions.size(), 5U);
}

TEST(distributions, of_parts_that_end_a_name_are_one_too) {
  run_builder run(20);
  for (const char* fact : {"dgemm.cpu0", "dgemm.cpu1", "dgemm.cpu127"})
    spread(run, fact, 10, "GFLOP/s", facts::better::higher);
  EXPECT_EQ(names_of(judged(run.data())),
            std::vector<std::string>{"dgemm.cpu*"});
}

TEST(distributions, with_outliers_stand_first_and_alone) {
  run_builder run(20);
  spread(run, "fan0.speed", 8000, "rpm");
  spread(run, "fan1.speed", 8000, "rpm").on(4, 0.0);
  spread(run, "fan2.speed", 8000, "rpm");
  spread(run, "stream.node.triad", 200, "MB/s", facts::better::higher);
  const judgement said = judged(run.data());
  ASSERT_EQ(names_of(said),
            (std::vector<std::string>{"fan1.speed", "stream.node.triad",
                                      "fan*.speed"}));
  ASSERT_EQ(said.distributions[0].outliers.size(), 1U);
  EXPECT_EQ(said.distributions[0].outliers[0].node, "n4");
  EXPECT_EQ(said.distributions[2].members, 3U);
  EXPECT_TRUE(said.distributions[2].outliers.empty());
}

TEST(distributions, of_what_a_machine_was_bought_for_come_before_the_rest) {
  run_builder run(20);
  spread(run, "a.load", 1);
  spread(run, "b.noise", 1, "us", facts::better::lower);
  spread(run, "c.copy", 10, "MB/s", facts::better::higher);
  spread(run, "disk.tmp.rate.write", 10, "MB/s", facts::better::higher);
  spread(run, "dgemm.node.rate", 10, "GFLOP/s", facts::better::higher);
  spread(run, "stream.node.triad", 10, "MB/s", facts::better::higher);
  EXPECT_EQ(names_of(judged(run.data())),
            (std::vector<std::string>{"stream.node.triad", "dgemm.node.rate",
                                      "disk.tmp.rate.write", "c.copy",
                                      "b.noise", "a.load"}));
}

TEST(differences, are_none_where_the_check_calls_the_values_close) {
  run_builder run(20);
  run.text("sysctl", "threads").all("1030690").on(3, "1030691");
  run.text("sysctl", "memory")
      .all("189876 253168 379752")
      .on(3, "189875 253168 379750");
  run.text("sysctl", "far").all("10").on(3, "60");
  check_definition scaled = check_of("scaled", "threads", rule::differs);
  scaled.facts.push_back("memory");
  scaled.what.min_effect = 3;
  const judgement said = judged_by(run.data(), {scaled});
  EXPECT_EQ(ids_of(said), std::vector<std::string>{"sysctl-differs"});
  ASSERT_EQ(said.differences.size(), 1U);
  EXPECT_EQ(said.differences[0].fact, "far");
  EXPECT_EQ(said.differences_left_out, 0U);
}

TEST(differences, that_a_check_minds_are_shown_however_small) {
  run_builder run(20);
  run.text("p", "a").all("1030690").on(3, "1030691");
  const judgement said = judged(run.data());
  EXPECT_TRUE(has_finding(said, "p-differs"));
  EXPECT_EQ(said.differences.size(), 1U);
}

TEST(differences, of_too_few_nodes_leave_out_what_the_last_digits_say) {
  run_builder run(4);
  run.text("p", "threads").all("1030690").on(2, "1030691");
  run.text("p", "cpus").all("96").on(2, "95");
  const judgement said = judged(run.data());
  ASSERT_EQ(said.differences.size(), 1U);
  EXPECT_EQ(said.differences[0].fact, "cpus");
}

}  // namespace
}  // namespace zelk::check
