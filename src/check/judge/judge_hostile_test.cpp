#include <cmath>
#include <limits>
#include <string>

#include <gtest/gtest.h>

#include "src/check/judge/test_judging.h"

namespace zelk::check {

namespace {

constexpr double infinity = std::numeric_limits<double>::infinity();
const double not_a_number = std::nan("");

TEST(judge, says_nothing_of_an_empty_run_and_calls_it_unknown) {
  const judgement said = judged(run_data());
  EXPECT_EQ(said.overall, verdict::unknown);
  EXPECT_TRUE(said.findings.empty());
  EXPECT_EQ(said.columns, std::vector<std::string>{"reach"});
  EXPECT_EQ(said.history.size(), 1U);
}

TEST(judge, takes_an_empty_baseline) {
  run_builder run(6);
  run.text("p", "a").all("x").on(2, "y");
  const run_data baseline;
  const judgement said = judged(run.data(), baseline);
  EXPECT_EQ(ids_of(said), std::vector<std::string>{"p-differs"});
  EXPECT_EQ(said.joined.size(), 6U);
}

TEST(judge, of_a_run_that_nobody_answered_blames_every_node_once) {
  run_builder run(8);
  run.text("p", "a").all("x");
  run.text("q", "b").all("x");
  for (std::size_t node = 1; node <= 8; ++node)
    run.silent(node, "ssh: connect to host n" + std::to_string(node) +
                         " port 22: No route to host");
  const judgement said = judged(run.data());
  ASSERT_EQ(said.findings.size(), 1U);
  EXPECT_EQ(said.findings[0].check, "no-answer");
  EXPECT_EQ(said.findings[0].level, severity::critical);
  EXPECT_EQ(said.findings[0].nodes.size(), 8U);
  EXPECT_EQ(said.findings[0].message,
            "ssh: connect to host NODE port 22: No route to host");
  EXPECT_EQ(said.counts.unhealthy, 8U);
  EXPECT_TRUE(said.classes.empty());
  ASSERT_EQ(said.coverage.size(), 1U);
  EXPECT_EQ(said.coverage[0].provider, "");
}

TEST(judge, of_silent_nodes_that_do_not_matter_says_unknown_not_healthy) {
  run_builder run(6);
  run.text("p", "a").all("x");
  run.silent(3);
  judge_options options = default_options();
  options.unreachable_score = 10;
  const judgement said = judged_by(run.data(), {}, nullptr, options);
  EXPECT_EQ(verdict_of(said, "n3"), "unknown");
  EXPECT_EQ(said.counts.unknown, 1U);
  EXPECT_EQ(said.overall, verdict::unknown);
}

TEST(judge, of_one_node_compares_nothing_and_still_judges_limits) {
  run_builder run(1);
  run.number("p", "a").all(7.0);
  run.text("p", "b").all("x");
  check_definition limit = check_of("a-high", "a", rule::range, 80);
  limit.what.limit = range{0, 5, false};
  const judgement said = judged_by(run.data(), {limit});
  EXPECT_EQ(ids_of(said), std::vector<std::string>{"a-high"});
  ASSERT_EQ(said.classes.size(), 1U);
  EXPECT_FALSE(said.classes[0].comparable);
  EXPECT_EQ(said.classes[0].why_not, "1 node; comparing takes 5");
}

TEST(judge, of_nodes_that_are_all_alike_finds_nothing) {
  run_builder run(100);
  run.text("p", "a").all("x");
  run.number("p", "b").all(1.5);
  run.list("p", "c").all("x\ny");
  run.counter("p", "d").all(9.0);
  const judgement said = judged(run.data(), run.data());
  EXPECT_TRUE(said.findings.empty());
  EXPECT_EQ(said.overall, verdict::healthy);
  EXPECT_EQ(said.counts.healthy, 100U);
  EXPECT_EQ(said.equal_facts, 2U);
  EXPECT_TRUE(said.differences.empty());
  EXPECT_TRUE(said.distributions.empty());
}

TEST(judge, takes_a_number_that_is_none_for_no_number) {
  for (const double odd : {not_a_number, infinity, -infinity}) {
    SCOPED_TRACE(odd);
    run_builder run(12);
    auto& fact = run.number("p", "a").all(100.0);
    fact.on(3, odd);
    const judgement said = judged(run.data());
    ASSERT_EQ(ids_of(said), std::vector<std::string>{"p-differs"});
    EXPECT_EQ(nodes_of(said.findings[0]), "n3");
    for (const distribution& each : said.distributions)
      for (const double value : each.values)
        EXPECT_TRUE(std::isfinite(value));
  }
}

TEST(judge, survives_a_fact_of_which_no_node_has_a_number) {
  run_builder run(12);
  run.number("p", "a").all(not_a_number);
  run.counter("p", "b").all(infinity);
  EXPECT_TRUE(judged(run.data(), run.data()).findings.empty());
}

TEST(judge, survives_the_largest_and_smallest_numbers) {
  run_builder run(12);
  run.number("p", "a").all(1e308).on(2, -1e308).on(3, 5e-324);
  const judgement said = judged(run.data());
  EXPECT_EQ(nodes_of(finding_of(said, "p-outlier")), "n2 n3");
}

TEST(judge, keeps_names_with_control_characters_as_they_are) {
  run_builder run(9);
  run.text("p", "fact\x1b[2J\n").all("x").on(4, "\x01\r\n\xe2\x80\xae");
  run.rename(4, "n4\x1b]0;evil\x07");
  const judgement said = judged(run.data());
  ASSERT_EQ(said.findings.size(), 1U);
  EXPECT_EQ(said.findings[0].nodes.front(), "n4\x1b]0;evil\x07");
  EXPECT_EQ(said.findings[0].message.find('\n', 12), std::string::npos);
}

TEST(judge, makes_one_finding_of_a_hundred_thousand_facts_of_one_node) {
  run_builder run(6);
  for (int i = 0; i < 100'000; ++i)
    run.text("p", "fact" + std::to_string(i)).on(2, "x");
  const judgement said = judged(run.data());
  ASSERT_EQ(said.findings.size(), 1U);
  EXPECT_EQ(nodes_of(said.findings[0]), "n2");
  EXPECT_LT(said.findings[0].message.size(), 500U);
  EXPECT_NE(said.findings[0].message.find("99996 more"), std::string::npos)
      << said.findings[0].message;
  EXPECT_EQ(said.differences.size() + said.differences_left_out, 100'000U);
}

TEST(judge, cuts_a_value_of_a_mebibyte) {
  run_builder run(6);
  run.text("p", "a").all("x").on(2, std::string(1 << 20, 'y'));
  const judgement said = judged(run.data());
  EXPECT_LT(finding_of(said, "p-differs").message.size(), 500U);
  EXPECT_LT(finding_of(said, "p-differs").values[0].value.size(), 200U);
}

TEST(judge, does_not_need_lists_to_be_as_long_as_there_are_nodes) {
  run_builder run(7);
  run.text("p", "a").all("x").on(1, "y");
  run_data data = run.data();
  data.notes.clear();
  data.facts[0].values.resize(3);
  data.providers[0].answers.resize(4);
  const judgement said = judged(data);
  EXPECT_EQ(said.nodes.size(), 7U);
  EXPECT_EQ(said.nodes[6].what, verdict::unknown);
}

TEST(judge, says_the_same_whatever_the_order_of_its_input) {
  run_builder run(40);
  run.text("p", "a").all("x").on(7, "y").on(9, "z").none_on(11);
  run.text("cpu", "cpu.model").all("m1").on(30, "m2").on(31, "m2");
  auto& number = run.number("q", "b").better(facts::better::higher);
  for (std::size_t node = 1; node <= 40; ++node)
    number.on(node, 100 + 0.1 * static_cast<double>(node % 7));
  number.on(5, 80.0);
  run.ended("r", 4, answer::timed_out).ended("r", 12, answer::failed);
  run.silent(20).unread("p", "a", 11);
  const run_data baseline = run.data();
  number.on(6, 70.0);
  const std::string first = everything_in(judged(run.data(), baseline));
  EXPECT_NE(first.find("q-outlier"), first.npos);
  for (unsigned seed = 1; seed <= 5; ++seed) {
    SCOPED_TRACE(seed);
    EXPECT_EQ(everything_in(judged(run.shuffled(seed), baseline)), first);
  }
}

// Pasted, advice must do nothing but what it says.
TEST(judge, keeps_names_that_no_command_can_take_out_of_advice) {
  run_builder run(20);
  run.text("p", "a").all("x").on(3, "y").on(4, "y").on(5, "y");
  run.rename(3, "a b; reboot").rename(4, "$(id)");
  const judgement some =
      judged_by(run.data(), {check_of("c", "a", rule::differs)});
  EXPECT_EQ(
      some.findings.at(0).advice,
      (std::vector<std::string>{
          "look at n5", "2 names that no command can take are left out"}));
  run_builder one(20);
  one.text("p", "a").all("x").on(3, "y");
  one.rename(3, "[1-9]");
  const judgement said =
      judged_by(one.data(), {check_of("c", "a", rule::differs)});
  EXPECT_EQ(
      said.findings.at(0).advice,
      std::vector<std::string>{"1 name that no command can take is left out"});
}

TEST(judge, of_a_node_that_may_not_be_asked_says_unknown) {
  run_builder run(6);
  run.text("p", "a").all("x");
  run.text("q", "b").all("x");
  run.ended("p", 2, answer::no_permission).ended("q", 2, answer::no_permission);
  run.ended("p", 3, answer::tool_missing).ended("q", 3, answer::not_applicable);
  const judgement said = judged(run.data());
  EXPECT_EQ(verdict_of(said, "n2"), "unknown");
  EXPECT_EQ(verdict_of(said, "n3"), "unknown");
  EXPECT_EQ(verdict_of(said, "n1"), "healthy");
}

// That a result came is no judgement.
TEST(judge, of_a_node_of_which_nothing_could_be_read_says_unknown) {
  run_builder run(6);
  run.text("p", "a").all("x").none_on(2);
  run.unread("p", "a", 2);
  EXPECT_EQ(verdict_of(judged(run.data()), "n2"), "unknown");
  run_builder without_facts(6);
  without_facts.ended("p", 0, answer::ok);
  EXPECT_EQ(judged(without_facts.data()).overall, verdict::unknown);
}

}  // namespace

}  // namespace zelk::check
