// Counters: by the day, and by themselves only where any machine would be ill.

#include <gtest/gtest.h>

#include "src/check/judge/test_judging.h"

namespace zelk::check {

namespace {

constexpr std::int64_t day = std::int64_t{86400} * 1'000'000;

run_builder errors_on(std::size_t nodes, std::int64_t usec, double all,
                      double first) {
  run_builder run(nodes, usec);
  run.counter("ib", "ib.errors").all(all).on(1, first);
  return run;
}

check_definition growth_check() {
  check_definition check = check_of("ib-errors", "ib.errors", rule::growth, 60);
  check.what.growth = 10;
  return check;
}

judgement grown(std::size_t nodes, std::int64_t days, double by,
                const check_definition& check) {
  constexpr std::int64_t then = run_builder::default_usec;
  const run_data before = errors_on(nodes, then - days * day, 100, 100).data();
  return judged_by(errors_on(nodes, then, 101, 100 + by).data(), {check},
                   &before);
}

TEST(growth, is_that_of_a_day) {
  EXPECT_TRUE(has_finding(grown(8, 1, 40, growth_check()), "ib-errors"));
  EXPECT_FALSE(has_finding(grown(8, 29, 40, growth_check()), "ib-errors"));
  const judgement said = grown(8, 29, 400, growth_check());
  EXPECT_EQ(finding_of(said, "ib-errors").message,
            "grew from 100 to 500 in 29 days; 7 peers by 0.03448 a day "
            "(median)");
}

TEST(growth, of_some_minutes_is_that_of_a_day) {
  EXPECT_EQ(finding_of(grown(8, 0, 40, growth_check()), "ib-errors").message,
            "grew from 100 to 140; 7 peers by 1 (median)");
}

TEST(growth, without_peers_alarms_nobody) {
  const judgement said = grown(3, 1, 24, growth_check());
  const finding& found = finding_of(said, "ib-errors");
  EXPECT_EQ(found.level, severity::informational);
  EXPECT_EQ(found.message,
            "grew from 100 to 124; more than 10 a day, and too few peers to "
            "compare with");
  EXPECT_EQ(said.overall, verdict::healthy);
}

TEST(growth, that_is_wrong_anywhere_needs_no_peers) {
  check_definition check = growth_check();
  check.what.alone_growth = 1000;
  EXPECT_FALSE(has_finding(grown(3, 1, 999, check), "ib-errors"));
  const judgement said = grown(3, 1, 2000, check);
  EXPECT_EQ(finding_of(said, "ib-errors").score, 60);
  EXPECT_EQ(finding_of(said, "ib-errors").message,
            "grew from 100 to 2100; more than 1000 a day is too much on any "
            "node");
  EXPECT_EQ(verdict_of(said, "n1"), "suspect");
}

TEST(growth, of_nothing_allowed_is_found_without_peers) {
  check_definition check = growth_check();
  check.what.growth = 0;
  check.what.alone_growth = 0;
  EXPECT_EQ(nodes_of(finding_of(grown(1, 20, 1, check), "ib-errors")), "n1");
}

}  // namespace

}  // namespace zelk::check
