#include "src/check/judge/judge.h"

#include <string>

#include <gtest/gtest.h>

#include "src/check/judge/test_judging.h"

namespace zelk::check {

namespace {

// A value around `middle` that varies by half a per cent, the same each time.
double noisy(double middle, std::size_t node) {
  const double step = static_cast<double>((node * 7919) % 101) / 101 - 0.5;
  return middle * (1 + 0.01 * step);
}

fact_builder& bandwidth(run_builder& run, std::size_t nodes) {
  auto& fact = run.number("stream", "stream.node.triad")
                   .unit("MB/s")
                   .better(facts::better::higher);
  for (std::size_t node = 1; node <= nodes; ++node)
    fact.on(node, noisy(203400, node));
  return fact;
}

TEST(judge, finds_a_setting_that_is_not_that_of_its_peers) {
  run_builder run(96);
  run.text("dmi_bios", "dmi.bios_version").all("2.5").on(71, "2.3");
  const judgement said = judged(run.data());
  ASSERT_EQ(ids_of(said), std::vector<std::string>{"dmi-bios-differs"});
  const finding& found = said.findings[0];
  EXPECT_EQ(nodes_of(found), "n71");
  EXPECT_EQ(found.class_name, "A");
  EXPECT_EQ(found.reference, "2.5");
  EXPECT_EQ(found.peers, 95U);
  EXPECT_EQ(found.message, "dmi.bios_version: 2.3; 95 of 95 peers have 2.5");
  EXPECT_EQ(found.values[0].value, "2.3");
  EXPECT_EQ(found.level, severity::warning);
  EXPECT_EQ(verdict_of(said, "n71"), "suspect");
  EXPECT_EQ(said.overall, verdict::suspect);
  ASSERT_EQ(said.differences.size(), 1U);
  EXPECT_EQ(said.differences[0].groups[1].second,
            std::vector<std::string>{"n71"});
}

TEST(judge, makes_one_finding_of_many_facts_with_one_cause) {
  run_builder run(20);
  for (const char* fact : {"source", "type", "options", "a", "b", "c"})
    run.text("mounts", std::string("mount./scratch.") + fact)
        .all(fact)
        .none_on(3)
        .none_on(4);
  const judgement said = judged(run.data());
  ASSERT_EQ(said.findings.size(), 1U);
  EXPECT_EQ(nodes_of(said.findings[0]), "n3 n4");
  EXPECT_EQ(said.findings[0].message,
            "mount./scratch.a: none; 18 of 19 peers have a (also "
            "mount./scratch.b, mount./scratch.c, mount./scratch.options and 2 "
            "more)");
}

TEST(judge, of_a_mix_without_majority_names_both_groups_once) {
  run_builder run(48);
  auto& fact = run.text("ib_links", "ib.mlx5_0.fw_ver").all("20.31");
  for (std::size_t node = 1; node <= 24; ++node)
    fact.on(node, "20.35");
  const judgement said = judged(run.data());
  ASSERT_EQ(said.findings.size(), 1U);
  EXPECT_EQ(said.findings[0].nodes.size(), 48U);
  EXPECT_NE(said.findings[0].message.find(
                "24 have 20.31 (n[25-48]), 24 have 20.35 (n[1-24])"),
            std::string::npos)
      << said.findings[0].message;
  EXPECT_NE(said.findings[0].level, severity::critical);
}

TEST(judge, never_calls_the_value_of_more_than_half_odd) {
  run_builder run(9);
  auto& fact = run.text("p", "a").all("x");
  for (std::size_t node = 1; node <= 4; ++node)
    fact.on(node, "y");
  EXPECT_EQ(nodes_of(finding_of(judged(run.data()), "p-differs")),
            "n1 n2 n3 n4");
}

TEST(judge, takes_as_many_values_as_nodes_for_identities) {
  run_builder run(12);
  auto& fact = run.text("p", "serial");
  for (std::size_t node = 1; node <= 12; ++node)
    fact.on(node, "S" + std::to_string(node));
  const judgement said = judged(run.data());
  EXPECT_TRUE(said.findings.empty());
  EXPECT_TRUE(said.differences.empty());
}

TEST(judge, tells_what_a_list_lacks_and_what_it_has_more) {
  run_builder run(10);
  run.list("modules", "modules").all("a\nb\nc\nd").on(2, "a\nc\nd\ne");
  const judgement said = judged(run.data());
  EXPECT_EQ(said.findings.at(0).values[0].value, "without b; with e");
  EXPECT_EQ(said.findings[0].message,
            "modules: without b; with e; 9 of 9 peers are alike");
  run_builder single(10);
  single.list("sysctl", "sysctl.a").all("10").on(2, "60");
  EXPECT_EQ(judged(single.data()).findings.at(0).message,
            "sysctl.a: 60; 9 of 9 peers have 10");
}

TEST(judge, believes_a_plugin_that_says_how_things_are) {
  run_builder run(12);
  run.number("check_raid", "check_raid.state")
      .compare(facts::comparison::state)
      .type(facts::value_type::integer)
      .all(0)
      .on(2, 2)
      .on(3, 1)
      .on(4, 3);
  const judgement said = judged(run.data());
  EXPECT_EQ(ids_of(said), std::vector<std::string>(3, "check-raid-state"));
  EXPECT_EQ(verdict_of(said, "n2"), "unhealthy");
  EXPECT_EQ(verdict_of(said, "n3"), "suspect");
  EXPECT_EQ(verdict_of(said, "n4"), "suspect");
  EXPECT_EQ(said.findings.at(0).message,
            "check_raid.state: 2; which is critical");
  // Also where it says so on all nodes.
  run_builder all(3);
  all.number("check_raid", "check_raid.state")
      .compare(facts::comparison::state)
      .all(2);
  EXPECT_EQ(nodes_of(finding_of(judged(all.data()), "check-raid-state")),
            "n1 n2 n3");
}

TEST(judge, finds_a_node_that_is_five_per_cent_slower) {
  run_builder run(64);
  bandwidth(run, 64).on(13, 203400 * 0.95);
  check_definition check =
      check_of("stream-low", "stream.node.triad", rule::peers, 80);
  check.what.min_effect = 3;
  const judgement said = judged_by(run.data(), {check});
  ASSERT_EQ(ids_of(said), std::vector<std::string>{"stream-low"});
  const finding& found = said.findings[0];
  EXPECT_EQ(nodes_of(found), "n13");
  EXPECT_EQ(found.level, severity::critical);
  EXPECT_EQ(found.peers, 63U);
  ASSERT_TRUE(found.values[0].z);
  EXPECT_LT(*found.values[0].z, -5);
  EXPECT_NEAR(*found.values[0].delta_percent, -5, 0.5);
  EXPECT_EQ(found.message.substr(0, 33), "193.2 GB/s (-5 %); median of 63 p");
  EXPECT_EQ(found.advice, std::vector<std::string>{"look at n13"});
  ASSERT_EQ(said.distributions.size(), 1U);
  EXPECT_EQ(said.distributions[0].values.size(), 64U);
  EXPECT_EQ(said.distributions[0].outliers[0].node, "n13");
}

TEST(judge, does_not_mind_a_node_that_is_faster) {
  run_builder run(64);
  bandwidth(run, 64).on(13, 203400 * 1.3);
  EXPECT_TRUE(judged(run.data()).findings.empty());
}

TEST(judge, wants_several_facts_to_agree_where_a_check_says_so) {
  run_builder run(30);
  for (const char* name : {"s.copy", "s.scale", "s.triad"}) {
    auto& fact = run.number("s", name);
    for (std::size_t node = 1; node <= 30; ++node)
      fact.on(node, noisy(200, node));
    fact.on(5, 150.0);
    if (name == std::string("s.scale")) fact.on(9, 150.0);
  }
  check_definition check = check_of("s-low", "s.*", rule::peers, 80);
  check.what.min_facts = 2;
  const judgement said = judged_by(run.data(), {check});
  ASSERT_EQ(said.findings.size(), 1U);
  EXPECT_EQ(nodes_of(said.findings[0]), "n5");
}

TEST(judge, learns_from_other_classes_how_much_values_vary) {
  run_builder run(70);
  auto& rate =
      run.number("disk", "disk.0.rate.write").better(facts::better::higher);
  for (std::size_t node = 1; node <= 70; ++node)
    rate.on(node, noisy(node <= 64 ? 3000 : 1000, node));
  for (std::size_t node = 65; node <= 70; ++node)
    run.notes(node, {"", "", "few"});
  rate.on(67, 930);
  const judgement said = judged(run.data());
  EXPECT_EQ(nodes_of(finding_of(said, "disk-outlier")), "n67");
}

TEST(judge, does_not_mind_an_effect_that_is_small) {
  run_builder run(64);
  run.number("p", "a").all(100.0).on(3, 96.0);
  EXPECT_TRUE(judged(run.data()).findings.empty());
  run_builder worse(64);
  worse.number("p", "a").all(100.0).on(3, 95.0);
  const judgement said = judged(worse.data());
  EXPECT_EQ(nodes_of(finding_of(said, "p-outlier")), "n3");
  EXPECT_NE(said.findings[0].message.find("which most of them have exactly"),
            std::string::npos);
}

TEST(judge, compares_no_numbers_of_fewer_nodes_than_peers_are_asked_for) {
  run_builder run(4);
  run.number("p", "a").all(100.0).on(3, 1.0);
  run.text("p", "b").all("x").on(3, "y");
  EXPECT_TRUE(judged(run.data()).findings.empty());
}

TEST(judge, makes_one_finding_of_two_groups_of_numbers) {
  run_builder run(60);
  auto& fact = bandwidth(run, 60);
  for (std::size_t node = 1; node <= 24; ++node)
    fact.on(node, noisy(180000, node));
  const judgement said = judged(run.data());
  ASSERT_EQ(said.findings.size(), 1U);
  EXPECT_EQ(said.findings[0].nodes.size(), 24U);
  EXPECT_NE(said.findings[0].message.find("24 have about 18"),
            std::string::npos)
      << said.findings[0].message;
  EXPECT_NE(said.findings[0].level, severity::critical);
}

TEST(judge, finds_a_node_that_lacks_a_measurement_of_its_peers) {
  run_builder run(20);
  bandwidth(run, 20).none_on(4);
  EXPECT_EQ(nodes_of(finding_of(judged(run.data()), "stream-differs")), "n4");
}

TEST(judge, does_not_take_for_missing_what_was_not_told_in_full) {
  run_builder run(20);
  bandwidth(run, 20).none_on(4).none_on(5);
  run.ended("stream", 4, answer::incomplete, "no time was left");
  run.unread("stream", "stream.{1}.triad", 5);
  const judgement said = judged(run.data());
  EXPECT_FALSE(has_finding(said, "stream-differs"));
  EXPECT_EQ(nodes_of(finding_of(said, "incomplete")), "n4");
}

TEST(judge, tells_five_ways_of_not_answering_apart) {
  run_builder run(12);
  run.text("p", "a").all("x");
  run.ended("p", 1, answer::timed_out, "stopped after 60 s")
      .ended("p", 2, answer::failed)
      .ended("p", 3, answer::no_permission)
      .ended("p", 4, answer::not_applicable)
      .ended("p", 5, answer::missing, "the worker was lost")
      .ended("q", 0, answer::ok);
  const judgement said = judged(run.data());
  EXPECT_EQ(nodes_of(finding_of(said, "timeout")), "n1");
  EXPECT_EQ(finding_of(said, "timeout").message, "p: stopped after 60 s");
  EXPECT_EQ(nodes_of(finding_of(said, "failed")), "n2");
  EXPECT_EQ(nodes_of(finding_of(said, "no-answer")), "n5");
  EXPECT_EQ(said.columns, (std::vector<std::string>{"reach", "p", "q"}));
  EXPECT_EQ(said.nodes[0].cells[1], cell_state::timeout);
  EXPECT_EQ(said.nodes[1].cells[1], cell_state::error);
  EXPECT_EQ(said.nodes[2].cells[1], cell_state::error);
  EXPECT_EQ(said.nodes[4].cells[1], cell_state::no_data);
  EXPECT_EQ(said.nodes[5].cells[1], cell_state::ok);
  EXPECT_EQ(said.coverage.size(), 5U);
}

TEST(judge, finds_a_node_that_says_it_has_no_such_thing_at_all) {
  run_builder run(12);
  run.number("gpu_inventory", "gpu.cards").all(8.0).none_on(4);
  run.ended("gpu_inventory", 4, answer::not_applicable);
  const judgement said = judged_by(
      run.data(),
      {check_of("gpu-missing", "applies.gpu_inventory", rule::differs, 85)});
  ASSERT_EQ(ids_of(said), std::vector<std::string>{"gpu-missing"});
  EXPECT_EQ(nodes_of(said.findings[0]), "n4");
  EXPECT_EQ(said.nodes[3].cells[1], cell_state::crit);
}

TEST(judge, takes_old_results_for_stale_and_judges_nothing_of_them) {
  run_builder run(10);
  run.text("p", "a").all("x").on(3, "y");
  judge_options options = default_options();
  options.now_usec += options.max_age_usec + 1;
  const judgement said = judged_by(run.data(), {}, nullptr, options);
  EXPECT_EQ(ids_of(said), std::vector<std::string>{"stale"});
  EXPECT_EQ(said.nodes[2].cells[1], cell_state::stale);
  EXPECT_TRUE(said.coverage[0].stale);
  EXPECT_EQ(verdict_of(said, "n3"), "unknown");
  EXPECT_EQ(said.overall, verdict::unknown);
}

TEST(judge, waits_for_nodes_while_the_run_goes_on) {
  run_builder run(10);
  run.text("p", "a").all("x");
  run.silent(3);
  run_data data = run.data();
  EXPECT_EQ(ids_of(judged(data)), std::vector<std::string>{"no-answer"});
  data.run.ended_usec = 0;
  const judgement said = judged(data);
  EXPECT_TRUE(said.findings.empty());
  EXPECT_EQ(verdict_of(said, "n3"), "unknown");
  EXPECT_EQ(said.coverage.size(), 1U);
}

TEST(judge, finds_what_two_nodes_share_and_should_not) {
  run_builder run(10);
  auto& key =
      run.text("ssh", "ssh.hostkey.rsa").compare(facts::comparison::unique);
  for (std::size_t node = 1; node <= 10; ++node)
    key.on(node, "SHA256:" + std::to_string(node));
  key.on(7, "SHA256:2");
  auto& address =
      run.text("net", "net.eth0.address").compare(facts::comparison::unique);
  address.all("00:00:00:00:00:00");
  const judgement said = judged(run.data());
  ASSERT_EQ(ids_of(said), std::vector<std::string>{"ssh-not-unique"});
  EXPECT_EQ(nodes_of(said.findings[0]), "n2 n7");
}

TEST(judge, tells_each_fact_of_a_node_once_and_by_the_worst_check) {
  run_builder run(10);
  run.number("time", "time.offset").all(0.001).on(4, 2.0).on(5, 0.2);
  check_definition far = check_of("clock-off", "time.offset", rule::range, 80);
  far.what.limit = range{-1, 1, false};
  check_definition near =
      check_of("clock-offset", "time.offset", rule::range, 50);
  near.what.limit = range{-0.05, 0.05, false};
  const judgement said = judged_by(run.data(), {far, near});
  EXPECT_EQ(nodes_of(finding_of(said, "clock-off")), "n4");
  EXPECT_EQ(nodes_of(finding_of(said, "clock-offset")), "n5");
}

// A program must not have to read "224 GiB".
TEST(judge, gives_numbers_beside_words) {
  run_builder run(10);
  run.number("memory", "mem.total")
      .all(268435456)
      .on(2, 234881024)
      .unit("KiB")
      .compare(facts::comparison::equal);
  const judgement said = judged(run.data());
  const finding& odd = finding_of(said, "memory-differs");
  EXPECT_EQ(odd.reference, "256 GiB");
  EXPECT_EQ(odd.reference_number, 268435456);
  EXPECT_EQ(odd.values.at(0).number, 234881024);
  EXPECT_EQ(odd.values.at(0).fact, "") << "it is the finding's own";
  EXPECT_FALSE(odd.limit);
  check_definition large = check_of("mem-large", "mem.total", rule::range, 90);
  large.what.limit = range{0, 1000, false};
  const judgement limited = judged_by(run.data(), {large});
  const finding& over = finding_of(limited, "mem-large");
  ASSERT_TRUE(over.limit);
  EXPECT_EQ(over.limit->least, 0);
  EXPECT_EQ(over.limit->most, 1000);
  EXPECT_FALSE(over.reference_number);
}

TEST(judge, says_which_file_sets_a_limit) {
  run_builder run(3);
  run.number("memory", "mem.total").all(400000000).on(2, 1048576).unit("KiB");
  check_definition small = check_of("mem-small", "mem.total", rule::range, 50);
  small.what.limit = range{262144000};
  small.file = "site/checks.xml";
  small.line = 12;
  EXPECT_EQ(judged_by(run.data(), {small}).findings.at(0).message,
            "1 GiB; limit at least 250 GiB, set in site/checks.xml:12");
  small.file.clear();
  EXPECT_EQ(judged_by(run.data(), {small}).findings.at(0).message,
            "1 GiB; limit at least 250 GiB");
}

// "250 GiB; limit at least 250 GiB" would help nobody.
TEST(judge, tells_a_limit_to_the_digit_where_a_value_is_near_it) {
  run_builder run(3);
  run.number("memory", "mem.total").all(400000000).on(2, 262143999).unit("KiB");
  check_definition small = check_of("mem-small", "mem.total", rule::range, 50);
  small.what.limit = range{262144000};
  EXPECT_EQ(judged_by(run.data(), {small}).findings.at(0).message,
            "250 GiB; limit at least 262144000 KiB");
}

TEST(judge, takes_limits_from_the_command_line) {
  run_builder run(3);
  run.number("time", "time.offset").all(0.5).on(2, 4.1).unit("s");
  judge_options options = default_options();
  std::string problem;
  options.limits.push_back(*read_limit("time.*=~:1", problem));
  const judgement said = judged_by(run.data(), {}, nullptr, options);
  ASSERT_EQ(ids_of(said), std::vector<std::string>{"limit"});
  EXPECT_NE(said.findings[0].message.find(
                "4.1 s; limit at most 1 s, set by --limit time.*=~:1"),
            std::string::npos)
      << said.findings[0].message;
  EXPECT_EQ(said.findings[0].reference, "limit at most 1 s");
  EXPECT_FALSE(read_limit("time.offset", problem));
  EXPECT_FALSE(read_limit("=1:2", problem));
  EXPECT_FALSE(read_limit("a=b", problem));
}

TEST(judge, judges_values_lists_and_what_must_or_must_not_be_there) {
  run_builder run(6);
  run.text("fs", "filesystem./a.state").all("ok").on(2, "hung");
  run.list("svc", "units.failed").all("").on(3, "a.service\nb.service");
  run.text("mounts", "mount./home.type").all("nfs").none_on(4);
  check_definition hung =
      check_of("fs-hung", "filesystem.*.state", rule::value, 85);
  hung.what.refused = {"hung"};
  check_definition needed =
      check_of("home", "mount./home.type", rule::present, 70);
  check_definition scratch =
      check_of("scratch", "mount./scratch.type", rule::present, 70);
  scratch.what.provider = "mounts";
  const judgement said = judged_by(
      run.data(), {hung, needed, scratch,
                   check_of("failed-units", "units.failed", rule::absent)});
  EXPECT_EQ(nodes_of(finding_of(said, "fs-hung")), "n2");
  EXPECT_EQ(nodes_of(finding_of(said, "failed-units")), "n3");
  EXPECT_EQ(nodes_of(finding_of(said, "home")), "n4");
  EXPECT_EQ(finding_of(said, "scratch").nodes.size(), 6U);
}

TEST(judge, leaves_out_checks_that_are_skipped_or_not_asked_for) {
  run_builder run(10);
  run.text("p", "a").all("x").on(3, "y");
  run.text("q", "b").all("x").on(3, "y");
  judge_options options = default_options();
  options.skip = {"p-*"};
  EXPECT_EQ(ids_of(judged_by(run.data(), {}, nullptr, options)),
            std::vector<std::string>{"q-differs"});
  options.skip.clear();
  options.only = {"p-differs"};
  EXPECT_EQ(ids_of(judged_by(run.data(), {}, nullptr, options)),
            std::vector<std::string>{"p-differs"});
}

TEST(judge, does_not_judge_facts_of_a_skipped_check_in_another_way) {
  run_builder run(10);
  run.text("p", "a").all("x").on(3, "y");
  judge_options options = default_options();
  options.skip = {"mine"};
  EXPECT_TRUE(judged_by(run.data(), {check_of("mine", "a", rule::differs)},
                        nullptr, options)
                  .findings.empty());
}

TEST(judge, puts_what_nodes_say_of_each_other_to_the_node_it_is_about) {
  run_builder run(8);
  for (std::size_t node = 1; node <= 8; ++node)
    run.number("net_pairs", "node.n" + std::to_string(node) + ".bandwidth")
        .better(facts::better::higher)
        .on(1, node == 6 ? 400.0 : 900.0);
  for (std::size_t node = 2; node <= 8; ++node)
    run.ended("net_pairs", node, answer::not_expected);
  run.text("p", "a").all("x");
  const judgement said = judged_by(
      run.data(), {check_of("net-slow", "node.*.bandwidth", rule::peers, 60)});
  ASSERT_EQ(ids_of(said), std::vector<std::string>{"net-slow"});
  EXPECT_EQ(nodes_of(said.findings[0]), "n6");
}

}  // namespace

}  // namespace zelk::check
