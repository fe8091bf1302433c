#include "src/check/judge/allowance.h"

#include <gtest/gtest.h>

#include "src/check/judge/test_judging.h"

namespace zelk::check {
namespace {

fact_column fact_of(const std::string& name, facts::comparison compare) {
  fact_column fact;
  fact.name = name;
  fact.provider = "p";
  fact.traits.compare = compare;
  return fact;
}

allowance allowance_of(const fact_column& fact,
                       const std::vector<check_definition>& checks,
                       const judge_options& options = default_options()) {
  check_set set;
  for (const check_definition& each : checks)
    set.put(each);
  return allowances(set, options).of(fact);
}

compared way_of(facts::comparison declared) {
  return allowance_of(fact_of("p.x", declared), {}).how;
}

TEST(allowances, follow_the_description_where_no_check_names_the_fact) {
  EXPECT_EQ(way_of(facts::comparison::equal), compared::as_text);
  EXPECT_EQ(way_of(facts::comparison::outlier), compared::as_numbers);
  for (const auto never :
       {facts::comparison::counter, facts::comparison::state,
        facts::comparison::unique, facts::comparison::unstable})
    EXPECT_EQ(way_of(never), compared::never);
}

TEST(allowances, follow_the_checks_that_name_the_fact) {
  const fact_column fact = fact_of("p.x", facts::comparison::equal);
  EXPECT_EQ(allowance_of(fact, {check_of("a", "p.x", rule::none)}).how,
            compared::never);
  EXPECT_EQ(allowance_of(fact, {check_of("a", "p.x", rule::peers)}).how,
            compared::as_numbers);
  EXPECT_EQ(allowance_of(fact, {check_of("a", "p.x", rule::range)}).how,
            compared::never);  // by its limits alone
  const fact_column counter = fact_of("p.x", facts::comparison::counter);
  EXPECT_EQ(allowance_of(counter, {check_of("a", "p.x", rule::differs)}).how,
            compared::as_text);
}

TEST(allowances, are_none_for_a_check_that_is_skipped) {
  judge_options options = default_options();
  options.skip = {"a"};
  EXPECT_EQ(allowance_of(fact_of("p.x", facts::comparison::equal),
                         {check_of("a", "p.x", rule::differs)}, options)
                .how,
            compared::never);
}

TEST(allowance, lets_pass_what_the_check_calls_close) {
  check_definition near = check_of("near", "p.x", rule::differs);
  near.what.min_effect = 3;
  const allowance allowed =
      allowance_of(fact_of("p.x", facts::comparison::equal), {near});
  EXPECT_TRUE(allowed.lets_pass("1000 2000", "1001\t2000"));
  EXPECT_FALSE(allowed.lets_pass("1000 2000", "1000 2100"));
  EXPECT_FALSE(allowed.lets_pass("a", "b"));
  EXPECT_FALSE(allowed.lets_pass({}, "1000"));
  EXPECT_FALSE(allowance().lets_pass("1000", "1001"));
}

TEST(allowance, lets_pass_what_the_check_ignores) {
  check_definition ignoring = check_of("a", "p.x", rule::differs);
  ignoring.what.ignored = {"exit status *", "none"};
  const allowance allowed =
      allowance_of(fact_of("p.x", facts::comparison::equal), {ignoring});
  EXPECT_TRUE(allowed.lets_pass("exit status 1", "x"));
  EXPECT_TRUE(allowed.lets_pass("x", "exit status 1"));
  EXPECT_TRUE(allowed.lets_pass({}, "x"));
  EXPECT_FALSE(allowed.lets_pass("y", "x"));
}

// What one of them tells is told.
TEST(allowance, is_that_of_the_strictest_check) {
  check_definition wide = check_of("a", "p.x", rule::differs);
  wide.what.min_effect = 50;
  wide.what.ignored = {"x"};
  check_definition narrow = check_of("b", "p.x", rule::differs);
  narrow.what.min_effect = 3;
  const fact_column fact = fact_of("p.x", facts::comparison::equal);
  EXPECT_FALSE(allowance_of(fact, {wide, narrow}).lets_pass("100", "120"));
  EXPECT_TRUE(allowance_of(fact, {wide, narrow}).lets_pass("100", "101"));
  EXPECT_FALSE(allowance_of(fact, {wide, narrow}).lets_pass("x", "1"));
  narrow.what.min_effect.reset();
  EXPECT_FALSE(allowance_of(fact, {wide, narrow}).lets_pass("100", "101"));
}

}  // namespace
}  // namespace zelk::check
