#include "src/check/judge/classes.h"

#include <string>

#include <gtest/gtest.h>

#include "src/check/judge/test_judging.h"

namespace zelk::check {

namespace {

constexpr double gib = 1024 * 1024;  // KiB

struct cluster {
  explicit cluster(std::size_t nodes)
      : run(nodes),
        model(run.list("cpu_topology", "cpu.model").all("Xeon 6338")),
        sockets(run.number("cpu_topology", "cpu.packages").all(2.0)),
        machine(run.text("dmi_bios", "dmi.product_name").all("R650")),
        memory(run.number("mem_total_numa", "mem.total")
                   .all(256 * gib)
                   .unit("KiB")),
        cards(run.number("gpu_inventory", "gpu.cards").all(0.0)) {}

  // "A:60 B:4"
  std::string classes() const {
    std::string result;
    for (const class_view& each : judged(run.data()).classes)
      result += (result.empty() ? "" : " ") + each.name + ":" +
                std::to_string(each.nodes.size());
    return result;
  }

  run_builder run;
  fact_builder &model, &sockets, &machine, &memory, &cards;
};

TEST(classes, are_made_by_processor_and_machine) {
  cluster of(30);
  for (std::size_t node = 21; node <= 30; ++node)
    of.model.on(node, "EPYC 7763");
  EXPECT_EQ(of.classes(), "A:20 B:10");
  const judgement said = judged(of.run.data());
  EXPECT_EQ(said.classes[0].key[0].second, "Xeon 6338");
  EXPECT_EQ(said.nodes[29].class_name, "B");
  EXPECT_TRUE(said.findings.empty()) << everything_in(said);
}

TEST(classes, are_not_made_by_a_node_that_lost_memory) {
  for (const double part : {31.0 / 32, 15.0 / 16, 11.0 / 12, 0.5}) {
    SCOPED_TRACE(part);
    cluster of(64);
    of.memory.on(7, 256 * gib * part);
    EXPECT_EQ(of.classes(), "A:64");
    check_definition check = check_of("mem-size", "mem.total", rule::peers, 80);
    check.what.min_effect = 2;
    check.what.direction = side::both;
    const judgement said = judged_by(of.run.data(), {check});
    EXPECT_EQ(nodes_of(finding_of(said, "mem-size")), "n7");
  }
}

TEST(classes, are_not_made_by_nodes_that_lost_cards_or_a_socket) {
  cluster of(16);
  of.cards.all(8.0).on(3, 7.0).on(4, 0.0);
  of.sockets.on(5, 1.0);
  EXPECT_EQ(of.classes(), "A:16");
}

TEST(classes, are_not_made_by_a_few_nodes_with_the_same_loss) {
  cluster of(64);
  of.memory.on(7, 240 * gib).on(8, 240 * gib).on(9, 240 * gib);
  EXPECT_EQ(of.classes(), "A:64");
}

TEST(classes, are_made_by_nodes_that_have_more) {
  cluster of(64);
  of.memory.on(63, 1024 * gib).on(64, 1024 * gib);
  EXPECT_EQ(of.classes(), "A:62 B:2");
  const judgement said = judged(of.run.data());
  EXPECT_FALSE(said.classes[1].comparable);
  EXPECT_EQ(said.classes[1].why_not, "2 nodes; comparing takes 5");
  cluster graphics(20);
  graphics.cards.on(19, 4.0).on(20, 4.0);
  EXPECT_EQ(graphics.classes(), "A:18 B:2");
}

TEST(classes, are_made_by_large_parts_with_less) {
  cluster of(40);
  for (std::size_t node = 1; node <= 10; ++node)
    of.memory.on(node, 128 * gib);
  EXPECT_EQ(of.classes(), "A:30 B:10");
}

TEST(classes, do_not_mind_how_much_firmware_keeps_for_itself) {
  cluster of(40);
  for (std::size_t node = 1; node <= 20; ++node)
    of.memory.on(node, 254.9 * gib);
  EXPECT_EQ(of.classes(), "A:40");
}

TEST(classes, take_in_a_node_whose_machine_has_no_name_or_a_new_one) {
  cluster of(20);
  of.machine.on(3, "").on(4, "To be filled by O.E.M.");
  EXPECT_EQ(of.classes(), "A:20");
}

TEST(classes, take_in_a_node_of_which_little_is_known) {
  cluster of(20);
  of.run.ended("cpu_topology", 3, answer::failed);
  of.run.ended("dmi_bios", 3, answer::timed_out);
  of.run.ended("mem_total_numa", 3, answer::failed);
  EXPECT_EQ(of.classes(), "A:20");
}

TEST(classes, are_one_when_no_fact_tells_them_apart) {
  run_builder run(8);
  run.text("p", "a").all("x");
  ASSERT_EQ(judged(run.data()).classes.size(), 1U);
}

TEST(classes, are_those_that_the_administrator_gives) {
  cluster of(20);
  for (std::size_t node = 1; node <= 6; ++node)
    of.run.notes(node, {"", "", "fat"});
  EXPECT_EQ(of.classes(), "A:14 fat:6");
}

TEST(classes, are_parted_by_role) {
  cluster of(20);
  for (std::size_t node = 1; node <= 2; ++node)
    of.run.notes(node, {"login", "", ""});
  EXPECT_EQ(of.classes(), "A:18 B:2");
}

TEST(classes, are_found_by_whatever_peers_are_asked_for) {
  cluster of(20);
  for (std::size_t node = 1; node <= 12; ++node)
    of.run.notes(node, {"compute", "west", ""});
  judge_options options = default_options();
  const auto found = [&](peers_by by) {
    options.by = by;
    std::string result;
    for (const class_view& each :
         judged_by(of.run.data(), {}, nullptr, options).classes)
      result += each.name + " ";
    return result;
  };
  EXPECT_EQ(found(peers_by::role), "compute no role ");
  EXPECT_EQ(found(peers_by::subcluster), "west no subcluster ");
  EXPECT_EQ(found(peers_by::all), "all ");
  EXPECT_EQ(found(peers_by::none), "");
  EXPECT_EQ(peers_by_of("subcluster"), peers_by::subcluster);
  EXPECT_FALSE(peers_by_of("rack"));
}

TEST(classes, have_as_many_letters_as_they_need) {
  EXPECT_EQ(class_letters(0), "A");
  EXPECT_EQ(class_letters(25), "Z");
  EXPECT_EQ(class_letters(26), "AA");
  EXPECT_EQ(class_letters(701), "ZZ");
  EXPECT_EQ(class_letters(702), "AAA");
}

TEST(classes, puts_nodes_without_a_role_into_a_class_of_that_name) {
  run_builder run(8);
  run.text("p", "a").all("x");
  for (std::size_t node = 1; node <= 5; ++node)
    run.notes(node, {"compute", "", ""});
  judge_options options = default_options();
  options.by = peers_by::role;
  const judgement said = judged_by(run.data(), {}, nullptr, options);
  ASSERT_EQ(said.classes.size(), 2U);
  EXPECT_EQ(said.classes[0].name, "compute");
  EXPECT_EQ(said.classes[1].name, "no role");
}

run_builder bandwidths(std::size_t slow_from) {
  run_builder run(20);
  run.of_unknown_machines();
  auto& rate =
      run.number("stream", "rate").better(facts::better::higher).all(100.0);
  for (std::size_t node = slow_from; node <= 20; ++node)
    rate.on(node, 45.0);
  return run;
}

TEST(classes, of_a_run_that_does_not_tell_are_those_of_the_baseline) {
  cluster before(20);
  for (std::size_t node = 16; node <= 20; ++node)
    before.model.on(node, "EPYC 7763");
  const judgement said = judged(bandwidths(16).data(), before.run.data());
  EXPECT_TRUE(said.findings.empty()) << everything_in(said);
  EXPECT_EQ(said.classes.at(1).nodes.size(), 5U);
  // And a node that is slow among its like is found.
  EXPECT_EQ(
      nodes_of(judged(bandwidths(20).data(), before.run.data()).findings.at(0)),
      "n20");
}

TEST(classes, of_a_run_that_does_not_tell_are_those_of_earlier_runs) {
  run_data run = bandwidths(16).data();
  run.machines.resize(20);
  for (std::size_t node = 0; node < 20; ++node)
    run.machines[node].processor = node < 15 ? "Xeon" : "EPYC";
  const judgement said = judged(run);
  EXPECT_TRUE(said.findings.empty()) << everything_in(said);
  EXPECT_EQ(said.classes.size(), 2U);
}

TEST(classes, that_nothing_tells_of_compare_nobody) {
  const judgement said = judged(bandwidths(16).data());
  EXPECT_TRUE(said.findings.empty()) << everything_in(said);
  ASSERT_EQ(said.classes.size(), 1U);
  EXPECT_EQ(said.classes[0].name, "unknown");
  EXPECT_EQ(said.classes[0].nodes.size(), 20U);
  EXPECT_FALSE(said.classes[0].comparable);
  judge_options options = default_options();
  options.by = peers_by::all;
  EXPECT_FALSE(
      judged_by(bandwidths(16).data(), {}, nullptr, options).findings.empty());
}

TEST(classes, that_nothing_tells_of_are_the_only_one_there_is) {
  cluster of(20);
  of.model.none_on(4);
  of.machine.none_on(4);
  EXPECT_EQ(of.classes(), "A:20");
}

TEST(classes, keep_their_letters_from_the_baseline) {
  cluster before(30), now(30);
  for (std::size_t node = 21; node <= 30; ++node)
    before.model.on(node, "EPYC 7763");
  for (std::size_t node = 9; node <= 30; ++node)
    now.model.on(node, "EPYC 7763");
  const judgement said = judged(now.run.data(), before.run.data());
  EXPECT_EQ(said.classes[0].name, "B");
  EXPECT_EQ(said.classes[0].nodes.size(), 22U);
  EXPECT_EQ(said.classes[1].name, "A");
}

TEST(classes, keep_their_letters_when_memory_is_added) {
  cluster before(30), now(30);
  for (std::size_t node = 21; node <= 30; ++node) {
    before.model.on(node, "EPYC 7763");
    now.model.on(node, "EPYC 7763");
  }
  now.memory.all(512 * gib);
  for (std::size_t node = 1; node <= 6; ++node)
    now.model.on(node, "EPYC 9654");
  const judgement said = judged(now.run.data(), before.run.data());
  EXPECT_EQ(said.nodes[29].class_name, "B");
  EXPECT_EQ(said.nodes[10].class_name, "A");
  EXPECT_EQ(said.nodes[0].class_name, "C");  // never a letter of another
}

}  // namespace

}  // namespace zelk::check
