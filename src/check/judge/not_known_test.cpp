// What is not known is never taken for fine.

#include <gtest/gtest.h>

#include "src/check/judge/test_judging.h"

namespace zelk::check {

namespace {

constexpr std::int64_t day = std::int64_t{86400} * 1'000'000;

run_builder two_providers(std::size_t nodes) {
  run_builder run(nodes);
  run.text("p", "a").all("x");
  run.number("q", "b").all(7.0);
  return run;
}

judge_options only(const std::vector<std::string>& checks) {
  judge_options options = default_options();
  options.only = checks;
  return options;
}

judge_options without(const std::vector<std::string>& checks) {
  judge_options options = default_options();
  options.skip = checks;
  return options;
}

TEST(unreadable, output_is_one_finding_and_no_measurement) {
  run_builder run(20);
  for (const char* fact : {"stream.a", "stream.b", "stream.c"})
    run.number("stream", fact).all(100.0).none_on(3);
  run.text("p", "a").all("x");
  run.unread("stream", "*", 3);
  const judgement said = judged(run.data());
  EXPECT_EQ(ids_of(said), std::vector<std::string>{"unreadable"})
      << everything_in(said);
  EXPECT_EQ(nodes_of(said.findings[0]), "n3");
  EXPECT_EQ(said.findings[0].level, severity::warning);
  EXPECT_EQ(said.findings[0].message, "stream: not found");
  EXPECT_EQ(said.nodes[2].cells[2], cell_state::error);
  EXPECT_EQ(verdict_of(said, "n3"), "suspect");
}

TEST(unreadable, node_without_one_fact_is_unknown) {
  run_builder run(20);
  run.text("p", "a").all("x").none_on(3);
  run.unread("p", "*", 3);
  // That it has such a thing at all is no fact of it.
  run.text("q", "b").all("x");
  run.ended("q", 3, answer::not_applicable);
  const judgement said = judged(run.data());
  EXPECT_EQ(verdict_of(said, "n3"), "unknown");
}

TEST(unreadable, output_with_some_facts_is_judged_by_them) {
  run_builder run(20);
  run.text("p", "a").all("x").on(3, "y");
  run.text("p", "b").all("x").none_on(3);
  run.unread("p", "*", 3);
  const judgement said = judged(run.data());
  EXPECT_EQ(ids_of(said), std::vector<std::string>{"p-differs"});
  EXPECT_EQ(said.nodes[2].cells[1], cell_state::warn);
}

TEST(unreadable, on_all_nodes_blames_none) {
  run_builder run = two_providers(6);
  for (std::size_t node = 1; node <= 6; ++node)
    run.ended("r", node, answer::ok).unread("r", "*", node);
  run_data data = run.data();
  data.unread = {{"r", "*", "of another version", {0, 1, 2, 3, 4, 5}}};
  const judgement said = judged(data);
  EXPECT_EQ(ids_of(said), std::vector<std::string>{"unreadable"});
  EXPECT_TRUE(said.findings[0].blames_nobody);
  EXPECT_EQ(said.counts.healthy, 6U);
  EXPECT_EQ(said.overall, verdict::suspect);
  EXPECT_EQ(said.nodes[0].cells[3], cell_state::error);
  data.unread[0].is_undescribed = true;
  const judgement own = judged(data);
  EXPECT_EQ(own.findings.at(0).level, severity::informational);
  EXPECT_EQ(own.overall, verdict::healthy);
}

TEST(unreadable, of_everything_is_unknown) {
  run_builder run(3);
  run.ended("p", 0, answer::ok);
  run_data data = run.data();
  data.unread = {{"p", "*", "no description", {0, 1, 2}, true}};
  const judgement said = judged(data);
  EXPECT_EQ(said.counts.unknown, 3U);
  EXPECT_EQ(said.overall, verdict::unknown);
}

TEST(selection, of_nothing_judges_nobody) {
  const run_data data = two_providers(6).data();
  for (const judge_options& options :
       {without({"*"}), only({"no-such-fact"})}) {
    const judgement said = judged_by(data, {}, nullptr, options);
    EXPECT_EQ(said.counts.unknown, 6U);
    EXPECT_EQ(said.overall, verdict::unknown);
  }
}

TEST(selection, of_a_check_knows_only_who_gave_its_fact) {
  run_builder run = two_providers(6);
  run.ended("q", 4, answer::timed_out);
  const check_definition check = check_of("b-low", "b", rule::peers);
  const judgement said =
      judged_by(run.data(), {check}, nullptr, only({"b-low"}));
  EXPECT_EQ(verdict_of(said, "n4"), "unknown");
  EXPECT_EQ(verdict_of(said, "n5"), "healthy");
  EXPECT_EQ(said.overall, verdict::unknown);
}

TEST(selection, without_the_check_that_tells_leaves_unknown) {
  run_builder run = two_providers(6);
  run.ended("q", 4, answer::timed_out);
  EXPECT_EQ(verdict_of(judged_by(run.data(), {}), "n4"), "suspect");
  const judgement said =
      judged_by(run.data(), {}, nullptr, without({"timeout"}));
  EXPECT_EQ(verdict_of(said, "n4"), "unknown");
  EXPECT_EQ(said.overall, verdict::unknown);
}

TEST(selection, of_who_answers_is_not_about_how) {
  run_builder run = two_providers(6);
  run.ended("q", 4, answer::timed_out);
  const judgement said =
      judged_by(run.data(), {}, nullptr, only({"no-answer"}));
  EXPECT_EQ(said.counts.healthy, 6U);
}

TEST(run_that_goes_on, leaves_unknown_who_has_not_come) {
  run_builder run = two_providers(6);
  run.silent(2, "not yet: the run goes on");
  run_data data = run.data();
  data.run.ended_usec = 0;
  data.run.state = "running";
  const judgement said = judged(data);
  EXPECT_TRUE(said.findings.empty());
  EXPECT_EQ(verdict_of(said, "n2"), "unknown");
  EXPECT_EQ(said.overall, verdict::unknown);
}

TEST(run_that_was_interrupted, blames_nobody_who_was_not_asked) {
  run_builder run = two_providers(6);
  run.silent(2, "was not asked: the run was interrupted");
  run.silent(3, "ssh: connection refused");
  run_data data = run.data();
  data.run.state = "interrupted";
  for (provider_info& each : data.providers)
    each.answers[1].was_not_asked = true;
  const judgement said = judged(data);
  ASSERT_EQ(said.findings.size(), 1U) << everything_in(said);
  EXPECT_EQ(nodes_of(said.findings[0]), "n3");
  EXPECT_EQ(verdict_of(said, "n2"), "unknown");
  ASSERT_EQ(said.coverage.size(), 2U);
  EXPECT_EQ(said.coverage[1].reason, "was not asked: the run was interrupted");
}

TEST(tool_missing, is_a_finding_where_peers_have_the_tool) {
  run_builder run = two_providers(8);
  run.ended("q", 4, answer::tool_missing, "ethtool");
  run.ended("q", 5, answer::no_permission, "/dev/mem");
  const judgement said = judged(run.data());
  EXPECT_EQ(nodes_of(finding_of(said, "tool-missing")), "n4");
  EXPECT_EQ(finding_of(said, "tool-missing").message, "q: ethtool");
  EXPECT_EQ(nodes_of(finding_of(said, "no-permission")), "n5");
  EXPECT_EQ(verdict_of(said, "n4"), "suspect");
  EXPECT_EQ(said.nodes[3].cells[2], cell_state::error);
}

TEST(tool_missing, is_none_where_most_lack_it) {
  run_builder run = two_providers(8);
  for (std::size_t node = 1; node <= 4; ++node)
    run.ended("q", node, answer::tool_missing, "ethtool");
  EXPECT_TRUE(judged(run.data()).findings.empty());
}

TEST(clock_of_result, is_told_and_age_is_that_of_the_run) {
  for (const std::int64_t off : {-30 * day, 30 * day}) {
    run_data data = two_providers(6).data();
    for (provider_info& each : data.providers)
      each.answers[3].ended_usec += off;
    const judgement said = judged(data);
    ASSERT_EQ(ids_of(said), std::vector<std::string>{"clock-of-result"});
    EXPECT_EQ(nodes_of(said.findings[0]), "n4");
    EXPECT_EQ(said.findings[0].message,
              off < 0 ? "dated 30 days before the run began"
                      : "dated 30 days after the run ended");
    EXPECT_EQ(said.nodes[3].cells[0], cell_state::warn);
    EXPECT_EQ(said.nodes[3].cells[1], cell_state::ok);
  }
}

TEST(clock_of_result, may_be_off_by_an_hour) {
  run_data data = two_providers(6).data();
  data.providers[0].answers[3].ended_usec += day / 24;
  EXPECT_TRUE(judged(data).findings.empty());
}

TEST(clock_of_result, does_not_make_an_old_run_new) {
  run_data data = two_providers(6).data();
  data.providers[0].answers[3].ended_usec += 100 * day;
  judge_options options = default_options();
  options.now_usec += 60 * day;
  const judgement said = judged_by(data, {}, nullptr, options);
  EXPECT_EQ(said.nodes[3].cells[1], cell_state::stale);
}

}  // namespace

}  // namespace zelk::check
