#include "src/check/judge/fold_absences.h"

#include <gtest/gtest.h>

#include "src/check/judge/test_judging.h"

namespace zelk::check {

namespace {

check_definition gpu_missing() {
  check_definition check =
      check_of("gpu-missing", "gpu.cards", rule::differs, 90);
  check.what.direction = side::low;
  return check;
}

check_definition gpu_link() {
  return check_of("gpu-link", "gpu*.link.*", rule::differs);
}

check_definition gpu_hot() {
  return check_of("gpu-hot", "*.temperature", rule::peers, 80);
}

// Ten nodes with two cards; node 3 has lost the second.
run_builder with_a_lost_card(bool is_counted) {
  run_builder run(10);
  if (is_counted) run.text("gpu", "gpu.cards").all(2).on(3, 1);
  for (const std::string card : {"gpu0", "gpu1"}) {
    const bool is_lost = card == "gpu1";
    auto& link = run.text("gpu", card + ".link.width").all("16");
    auto& hot = run.number("gpu", card + ".temperature").all(60);
    auto& name = run.text("gpu", card + ".product.name").all("H");
    if (is_lost) {
      link.none_on(3);
      hot.none_on(3);
      name.none_on(3);
    }
  }
  return run;
}

TEST(thing_of, is_what_a_number_stands_in) {
  EXPECT_EQ(thing_of("nvidia.gpu3.pcie.width"), "nvidia.gpu3");
  EXPECT_EQ(thing_of("dimm.13.size"), "dimm.13");
  EXPECT_EQ(thing_of("ib.mlx5_0.port1.state"), "ib.mlx5_0");
  EXPECT_EQ(thing_of("mount./scratch.source"), "mount./scratch");
  EXPECT_EQ(thing_of("cpu.model"), "");
  EXPECT_EQ(thing_of("load.15"), "");
  EXPECT_EQ(thing_of("uptime"), "");
}

TEST(fold_absences, tells_a_lost_card_once) {
  const judgement said = judged_by(with_a_lost_card(true).data(),
                                   {gpu_missing(), gpu_link(), gpu_hot()});
  ASSERT_EQ(ids_of(said), std::vector<std::string>{"gpu-missing"});
  EXPECT_EQ(nodes_of(said.findings[0]), "n3");
  EXPECT_EQ(said.findings[0].message.find("gpu0"), std::string::npos);
  EXPECT_NE(said.findings[0].message.find("also gpu1."), std::string::npos)
      << said.findings[0].message;
}

TEST(fold_absences, tells_a_lost_card_once_also_when_nobody_counts_cards) {
  const judgement said =
      judged_by(with_a_lost_card(false).data(), {gpu_link(), gpu_hot()});
  EXPECT_EQ(ids_of(said), std::vector<std::string>{"gpu-link"});
}

TEST(fold_absences, leaves_what_another_node_lacks) {
  run_builder run = with_a_lost_card(true);
  run.number("gpu", "gpu1.fan.temperature").all(40).none_on(4);
  const judgement said =
      judged_by(run.data(), {gpu_missing(), gpu_link(), gpu_hot()});
  EXPECT_EQ(ids_of(said), (std::vector<std::string>{"gpu-missing", "gpu-hot"}));
  EXPECT_EQ(nodes_of(said.findings[1]), "n4");
}

// What is there and wrong is another trouble than what is gone.
TEST(fold_absences, leaves_what_is_there_and_differs) {
  run_builder run = with_a_lost_card(true);
  run.text("gpu", "gpu0.link.speed").all("5").on(3, "1");
  const judgement said =
      judged_by(run.data(), {gpu_missing(), gpu_link(), gpu_hot()});
  EXPECT_EQ(ids_of(said),
            (std::vector<std::string>{"gpu-missing", "gpu-link"}));
}

// A version is no number of things.
TEST(fold_absences, does_not_take_every_number_for_a_count) {
  run_builder run = with_a_lost_card(false);
  run.text("gpu", "gpu.clock").all(1400).unit("MHz").on(3, 1200);
  const judgement said = judged_by(
      run.data(),
      {check_of("gpu-clock", "gpu.clock", rule::differs, 90), gpu_link()});
  EXPECT_EQ(ids_of(said), (std::vector<std::string>{"gpu-clock", "gpu-link"}));
}

TEST(fold_absences, does_not_ask_another_provider) {
  run_builder run(10);
  run.text("gpu", "gpu.cards").all(2).on(3, 1);
  run.text("disk", "disk.1.model").all("M").none_on(3);
  const judgement said = judged_by(run.data(), {gpu_missing()});
  EXPECT_EQ(ids_of(said),
            (std::vector<std::string>{"gpu-missing", "disk-differs"}));
}

TEST(fold_absences, tells_what_came_back_once_too) {
  const run_data before = with_a_lost_card(true).data();
  run_builder run(10);
  run.text("gpu", "gpu.cards").all(2);
  for (const std::string card : {"gpu0", "gpu1"}) {
    run.text("gpu", card + ".link.width").all("16");
    run.number("gpu", card + ".temperature").all(60);
    run.text("gpu", card + ".product.name").all("H");
  }
  const judgement said =
      judged_by(run.data(), {gpu_missing(), gpu_link(), gpu_hot()}, &before);
  ASSERT_EQ(said.fixed.size(), 1U);
  EXPECT_EQ(said.fixed[0].check, "gpu-missing");
}

}  // namespace

}  // namespace zelk::check
