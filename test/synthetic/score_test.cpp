#include "test/synthetic/score.h"

#include <algorithm>
#include <string>
#include <vector>

#include <gtest/gtest.h>

namespace zelk::synthetic {
namespace {

const cluster& some_cluster() {
  static const cluster made({.nodes = 64}, ZELK_SOURCE_DIR "/test/synthetic");
  return made;
}

const fault& named(const std::string& name) {
  const auto& all = all_faults();
  return *std::find_if(all.begin(), all.end(),
                       [&](const fault& each) { return each.name == name; });
}

check::finding a_finding(const std::string& fact,
                         const std::vector<std::string>& nodes,
                         check::severity level = check::severity::warning) {
  check::finding made;
  made.check = "some-check";
  made.fact = fact;
  made.level = level;
  made.nodes = nodes;
  return made;
}

check::judgement judged(const std::vector<check::finding>& findings) {
  check::judgement made;
  made.findings = findings;
  return made;
}

TEST(score, counts_a_fault_that_is_said_of_its_machine) {
  const score made = score_of(
      judged({a_finding("dmi.bios_version", {"node0004", "node0005"})}),
      some_cluster(), {{&named("wrong-bios"), {3}}, {&named("hot"), {4}}});
  ASSERT_EQ(made.faults.size(), 2U);
  EXPECT_EQ(made.faults[0].found, 1U);
  EXPECT_EQ(made.faults[0].findings, 1U);
  EXPECT_EQ(made.faults[1].found, 0U);
  EXPECT_EQ(made.faults[1].missed, std::vector<std::string>{"node0005"});
  EXPECT_EQ(made.healthy, 62U);
  EXPECT_TRUE(made.wrong.empty());
}

TEST(score, takes_nothing_for_the_fault_that_is_something_else) {
  const planted fault = {&named("uncorrectable-memory"), {3}};
  const auto found = [&](const check::finding& each) {
    return score_of(judged({each}), some_cluster(), {fault}).faults[0].found;
  };
  using enum check::severity;
  EXPECT_EQ(found(a_finding("edac.ue", {"node0004"}, critical)), 1U);
  EXPECT_EQ(found(a_finding("edac.ue", {"node0004"}, warning)), 0U);
  EXPECT_EQ(found(a_finding("edac.ue", {"node0005"}, critical)), 0U);
  EXPECT_EQ(found(a_finding("mem.total", {"node0004"}, critical)), 0U);
  EXPECT_EQ(found(a_finding("", {"node0004"}, critical)), 0U);
}

TEST(score, counts_each_healthy_machine_of_a_false_finding) {
  const score made = score_of(
      judged({a_finding("mem.total", {"node0004", "node0007", "node0008"}),
              a_finding("boot.uptime", {"node0009", "node0010"},
                        check::severity::informational),
              a_finding("mem.total", {})}),
      some_cluster(), {{&named("wrong-bios"), {3}}});
  EXPECT_EQ(made.wrong.size(), 3U);
  EXPECT_EQ(made.wrong_informational.size(), 1U);
}

TEST(score, lets_a_fault_of_a_whole_class_explain_what_is_said_of_it) {
  const std::vector<planted> faults = {{&named("firmware-of-half"), {33, 35}}};
  const score made = score_of(
      judged({a_finding("ib.mlx5_0.fw_ver", {"node0034", "node0035"})}),
      some_cluster(), faults);
  EXPECT_EQ(made.healthy, 64U);
  EXPECT_TRUE(made.wrong.empty());
  EXPECT_EQ(made.faults[0].found, 1U);
}

TEST(score, does_not_ask_a_silent_machine_for_what_all_have) {
  const score made = score_of(
      judged({}), some_cluster(),
      {{&named("new-package-everywhere"), {1, 2}}, {&named("silent"), {2}}});
  EXPECT_EQ(made.faults[0].planted, 1U);
  EXPECT_EQ(made.faults[1].planted, 1U);
}

TEST(score, takes_an_answer_for_the_fault_that_is_one) {
  check::judgement of;
  check::coverage_group group;
  group.what = check::answer::timed_out;
  group.provider = "fs_local_space";
  group.nodes = {"node0004"};
  of.coverage = {group};
  const planted fault = {&named("provider-timed-out"), {3}};
  EXPECT_EQ(score_of(of, some_cluster(), {fault}).faults[0].found, 1U);
  of.coverage[0].provider = "sysctl";
  EXPECT_EQ(score_of(of, some_cluster(), {fault}).faults[0].found, 0U);
}

TEST(score, sees_whether_the_small_class_is_said_to_be_one) {
  check::judgement of;
  check::class_view small;
  small.nodes = {"node0063", "node0064"};
  of.classes = {small};
  EXPECT_FALSE(score_of(of, some_cluster(), {}).small_class_said);
  of.classes[0].comparable = false;
  of.classes[0].why_not = "2 nodes; comparing takes 5";
  EXPECT_TRUE(score_of(of, some_cluster(), {}).small_class_said);
}

}  // namespace
}  // namespace zelk::synthetic
