#include <string>

#include <gtest/gtest.h>

#include "src/check/judge/test_judging.h"

namespace zelk::check {

namespace {

constexpr std::int64_t day = 86'400'000'000;  // microseconds
constexpr std::int64_t then_usec = run_builder::default_usec - day;

run_builder plain(std::int64_t usec = run_builder::default_usec) {
  run_builder run(20, usec);
  run.text("kernel", "kernel.release").all("5.14");
  run.text("dmi", "dmi.bios").all("2.5");
  return run;
}

TEST(findings, are_new_unchanged_or_changed_against_the_baseline) {
  run_builder before(20, then_usec);
  before.text("p", "a").all("x").on(2, "y").on(3, "y");
  run_builder now(20);
  now.text("p", "a").all("x").on(2, "y").on(3, "z").on(4, "y");
  const judgement said = judged(now.data(), before.data());
  ASSERT_EQ(said.findings.size(), 3U);
  for (const finding& each : said.findings) {
    SCOPED_TRACE(nodes_of(each));
    if (nodes_of(each) == "n2") {
      EXPECT_EQ(each.state, finding_state::unchanged);
    } else if (nodes_of(each) == "n3") {
      EXPECT_EQ(each.state, finding_state::changed);
      EXPECT_EQ(each.values[0].before, "y");
    } else {
      EXPECT_EQ(nodes_of(each), "n4");
      EXPECT_EQ(each.state, finding_state::fresh);
    }
  }
}

TEST(findings, of_the_baseline_that_are_gone_are_fixed) {
  run_builder before(20, then_usec);
  before.text("p", "a").all("x").on(2, "y");
  run_builder now(20);
  now.text("p", "a").all("x");
  const judgement said = judged(now.data(), before.data());
  EXPECT_TRUE(said.findings.empty()) << everything_in(said);
  ASSERT_EQ(said.fixed.size(), 1U);
  EXPECT_EQ(said.fixed[0].check, "p-differs");
  EXPECT_EQ(nodes_of(said.fixed[0]), "n2");
  EXPECT_EQ(said.fixed[0].state, finding_state::fixed);
}

TEST(findings, of_a_node_that_is_silent_now_are_not_called_fixed) {
  run_builder before(20, then_usec);
  before.text("p", "a").all("x").on(2, "y");
  run_builder now(20);
  now.text("p", "a").all("x");
  now.silent(2);
  EXPECT_TRUE(judged(now.data(), before.data()).fixed.empty());
}

TEST(findings, of_an_answer_that_is_there_again_are_fixed) {
  run_builder before(20, then_usec);
  before.text("p", "a").all("x");
  before.silent(5);
  run_builder now(20);
  now.text("p", "a").all("x");
  const judgement said = judged(now.data(), before.data());
  ASSERT_EQ(said.fixed.size(), 1U);
  EXPECT_EQ(said.fixed[0].check, "no-answer");
}

TEST(findings, of_a_change_on_most_nodes_are_one_that_alarms_nobody) {
  run_builder before = plain(then_usec);
  run_builder now(20);
  now.text("kernel", "kernel.release").all("5.15").on(7, "5.14");
  now.text("kernel", "kernel.build").all("new").on(7, "old");
  before.text("kernel", "kernel.build").all("old");
  now.text("dmi", "dmi.bios").all("2.5");
  const judgement said = judged_by(
      now.data(),
      {check_of("kernel-differs", "kernel.*", rule::differs, 60),
       check_of("kernel-changed", "kernel.release", rule::changed, 20)},
      nullptr);
  EXPECT_EQ(said.findings.size(), 1U);
  const run_data old = before.data();
  const judgement against =
      judged_by(now.data(),
                {check_of("kernel-differs", "kernel.*", rule::differs, 60),
                 check_of("kernel-changed", "kernel.*", rule::changed, 20)},
                &old);
  EXPECT_EQ(nodes_of(finding_of(against, "kernel-differs")), "n7");
  const finding& change = finding_of(against, "kernel-changed");
  EXPECT_EQ(change.nodes.size(), 19U);
  EXPECT_EQ(change.level, severity::informational);
  EXPECT_NE(change.message.find("changed on 19 of 20 nodes: "),
            std::string::npos);
  EXPECT_FALSE(has_finding(against, "kernel-differs") &&
               finding_of(against, "kernel-differs").nodes.size() > 1);
}

TEST(findings, of_a_node_that_became_like_its_peers_tell_no_change) {
  run_builder before(20, then_usec);
  before.text("p", "a").all("x").on(2, "y");
  run_builder now(20);
  now.text("p", "a").all("x");
  EXPECT_FALSE(has_finding(judged(now.data(), before.data()), "p-changed"));
}

TEST(findings, of_facts_that_came_or_went_on_all_nodes_are_changes) {
  run_builder before(20, then_usec);
  before.text("p", "a").all("x");
  run_builder now(20);
  now.text("p", "a").all("y");
  EXPECT_EQ(ids_of(judged(now.data(), before.data())),
            std::vector<std::string>{"p-changed"});
}

TEST(findings, of_another_version_of_a_description_are_no_changes) {
  run_builder before(20, then_usec);
  before.text("p", "a").all("x");
  run_data old = before.data();
  old.providers[0].versions = {2};
  run_builder now(20);
  now.text("p", "a").all("y");
  EXPECT_TRUE(judged(now.data(), old).findings.empty());
}

TEST(findings, of_counters_are_about_growth_that_peers_have_not) {
  run_builder before(20, then_usec);
  auto& then = before.counter("ib", "ib.errors");
  run_builder now(20);
  auto& counter = now.counter("ib", "ib.errors");
  for (std::size_t node = 1; node <= 20; ++node) {
    const auto start = static_cast<double>(node * 1000);
    then.on(node, start);
    counter.on(node, start + static_cast<double>(node % 4));
  }
  counter.on(6, 6000.0 + 500);
  const judgement said = judged(now.data(), before.data());
  ASSERT_EQ(ids_of(said), std::vector<std::string>{"ib-grew"});
  EXPECT_EQ(nodes_of(said.findings[0]), "n6");
  EXPECT_NE(said.findings[0].message.find("grew from 6000 to 6500"),
            std::string::npos);
}

TEST(findings, of_counters_need_peers_or_a_limit) {
  run_builder before(2), now(2);
  before.counter("ib", "ib.errors").all(0.0);
  now.counter("ib", "ib.errors").all(0.0).on(1, 40.0);
  const run_data earlier = before.data();
  EXPECT_TRUE(judged_by(now.data(), {}, &earlier).findings.empty());
  check_definition limited = check_of("ib-bad", "ib.errors", rule::growth, 40);
  limited.what.growth = 30;
  const judgement said = judged_by(now.data(), {limited}, &earlier);
  ASSERT_EQ(ids_of(said), std::vector<std::string>{"ib-bad"});
  EXPECT_EQ(said.findings[0].message,
            "grew from 0 to 40; more than 30 a day, and too few peers to "
            "compare with");
}

TEST(findings, of_counters_in_a_small_class_are_held_against_all_nodes) {
  run_builder before(20, then_usec);
  before.counter("ib", "ib.errors").all(0.0);
  run_builder now(20);
  now.counter("ib", "ib.errors").all(30.0).on(1, 31.0).on(2, 900.0);
  for (run_builder* each : {&before, &now})
    each->notes(1, {"", "", "small"}).notes(2, {"", "", "small"});
  EXPECT_EQ(nodes_of(finding_of(judged(now.data(), before.data()), "ib-grew")),
            "n2");
}

TEST(findings, of_counters_without_peers_are_about_their_limit) {
  run_builder before(2, then_usec), now(2);
  before.counter("ib", "ib.errors").all(0.0);
  now.counter("ib", "ib.errors").all(5.0).on(2, 30.0);
  check_definition check = check_of("ib-errors", "ib.*", rule::growth);
  check.what.growth = 10;
  const run_data old = before.data();
  EXPECT_EQ(
      nodes_of(finding_of(judged_by(now.data(), {check}, &old), "ib-errors")),
      "n2");
}

TEST(findings, of_counters_that_went_back_say_so_and_nothing_of_growth) {
  run_builder before(20, then_usec);
  before.counter("ib", "ib.errors").all(500.0);
  run_builder now(20);
  now.counter("ib", "ib.errors").all(500.0).on(6, 40.0);
  const judgement said = judged(now.data(), before.data());
  ASSERT_EQ(ids_of(said), std::vector<std::string>{"counters-reset"});
  EXPECT_EQ(said.findings[0].level, severity::informational);
}

TEST(findings, of_counters_that_all_grew_over_their_limit_are_one) {
  run_builder before(20, then_usec);
  before.counter("ib", "ib.errors").all(0.0);
  run_builder now(20);
  now.counter("ib", "ib.errors").all(1000.0);
  check_definition check = check_of("ib-errors", "ib.*", rule::growth, 60);
  check.what.growth = 10;
  const run_data old = before.data();
  const judgement said = judged_by(now.data(), {check}, &old);
  ASSERT_EQ(said.findings.size(), 1U);
  EXPECT_EQ(said.findings[0].nodes.size(), 20U);
  EXPECT_EQ(said.findings[0].level, severity::informational);
}

TEST(findings, that_are_accepted_count_for_nothing) {
  run_builder run(20);
  run.text("p", "a").all("x").on(2, "y").on(3, "y");
  acceptance accepted;
  accepted.id = 7;
  accepted.check = "p-differs";
  accepted.nodes = {"n3"};
  const judgement said =
      judged_by(run.data(), {}, nullptr, default_options(), {accepted});
  ASSERT_EQ(said.findings.size(), 1U);
  EXPECT_EQ(nodes_of(said.findings[0]), "n2");
  ASSERT_EQ(said.accepted.size(), 1U);
  EXPECT_EQ(nodes_of(said.accepted[0]), "n3");
  EXPECT_EQ(said.accepted[0].accepted->id, 7);
  EXPECT_EQ(verdict_of(said, "n3"), "healthy");
  EXPECT_EQ(said.nodes[2].cells[1], cell_state::accepted);
}

TEST(findings, are_accepted_only_until_the_day_given) {
  run_builder run(20);
  run.text("p", "a").all("x").on(2, "y");
  acceptance accepted;
  accepted.check = "p-*";
  accepted.until_usec = run_builder::default_usec + 1;
  judge_options options = default_options();
  EXPECT_EQ(
      judged_by(run.data(), {}, nullptr, options, {accepted}).accepted.size(),
      1U);
  options.now_usec = accepted.until_usec;
  EXPECT_TRUE(
      judged_by(run.data(), {}, nullptr, options, {accepted}).accepted.empty());
}

TEST(findings, tell_since_when_they_are_there_without_a_gap) {
  run_builder bad(20), good(20);
  bad.text("p", "a").all("x").on(2, "y");
  good.text("p", "a").all("x");
  std::vector<earlier_run> earlier;
  const auto add = [&](const run_builder& of, std::int64_t number) {
    run_data data = of.data();
    data.run.number = number;
    data.run.started_usec = then_usec + number;
    earlier.push_back(remember(judged(data)));
  };
  add(bad, 10);
  add(good, 11);
  add(bad, 12);
  add(bad, 13);
  run_data now = bad.data();
  now.run.number = 14;
  const judgement said =
      judged_by(now, {}, nullptr, default_options(), {}, earlier);
  ASSERT_TRUE(said.findings.at(0).since);
  EXPECT_EQ(said.findings[0].since->number, 12);
  ASSERT_EQ(said.history.size(), 5U);
  EXPECT_EQ(said.history.front().run.number, 10);
  EXPECT_EQ(said.history.back().run.number, 14);
  EXPECT_EQ(said.history.back().nodes.at(0).first, "n2");
  EXPECT_FALSE(judged(now).findings.at(0).since);
}

TEST(findings, of_a_new_trouble_are_there_since_this_run) {
  run_builder bad(20), good(20);
  bad.text("p", "a").all("x").on(2, "y");
  good.text("p", "a").all("x");
  run_data past = good.data();
  past.run.number = 3;
  past.run.started_usec = then_usec;
  run_data now = bad.data();
  now.run.number = 4;
  const judgement said = judged_by(now, {}, nullptr, default_options(), {},
                                   {remember(judged(past))});
  EXPECT_EQ(said.findings.at(0).since->number, 4);
}

TEST(findings, have_a_fingerprint_that_another_run_gives_again) {
  run_builder run(20);
  run.text("p", "a").all("x").on(2, "y");
  const std::string first = judged(run.data()).findings.at(0).fingerprint;
  run_builder later(21);
  later.text("p", "a").all("x").on(2, "z");
  later.text("p", "b").all("x");
  EXPECT_EQ(judged(later.data()).findings.at(0).fingerprint, first);
  EXPECT_EQ(first.size(), 32U);
}

TEST(findings, are_in_order_of_their_weight) {
  run_builder run(20);
  run.text("p", "a").all("x").on(2, "y");
  run.text("p", "b").all("x").on(3, "y");
  run.text("p", "c").all("x").on(4, "y");
  const judgement said =
      judged_by(run.data(), {check_of("low", "a", rule::differs, 10),
                             check_of("high", "b", rule::differs, 90),
                             check_of("middle", "c", rule::differs, 50)});
  EXPECT_EQ(ids_of(said), (std::vector<std::string>{"high", "middle", "low"}));
  EXPECT_EQ(said.counts.unhealthy, 1U);
  EXPECT_EQ(said.counts.suspect, 1U);
  EXPECT_EQ(said.counts.healthy, 18U);
}

TEST(findings, of_hundreds_of_single_nodes_are_at_most_a_dozen) {
  run_builder run(300);
  for (std::size_t node = 1; node <= 100; ++node)
    run.text("packages", "package." + std::to_string(node))
        .all("1.0")
        .on(node, "2.0");
  const judgement said = judged(run.data());
  EXPECT_EQ(said.findings.size(), 12U);
  EXPECT_EQ(said.counts.suspect, 100U);
  EXPECT_NE(said.findings.back().message.find("89 differences on 89 nodes"),
            std::string::npos)
      << said.findings.back().message;
}

TEST(findings, tell_nodes_that_joined_or_left) {
  run_builder before(6), now(6);
  before.text("p", "a").all("x");
  now.text("p", "a").all("x");
  now.rename(6, "n9");
  const judgement said = judged(now.data(), before.data());
  EXPECT_EQ(said.joined, std::vector<std::string>{"n9"});
  EXPECT_EQ(said.left, std::vector<std::string>{"n6"});
}

}  // namespace

}  // namespace zelk::check
