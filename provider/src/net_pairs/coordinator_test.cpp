// The names of nodes are addresses of this machine, and what starts an agent is
// a shell in the place of ssh.
#include "provider/src/net_pairs/coordinator.h"

#include <csignal>
#include <cstdlib>

#include <gtest/gtest.h>

namespace zelk::net_pairs {
namespace {

using words = std::vector<std::string>;

// As the program does: a node may be gone when it is spoken to.
[[maybe_unused]] const auto pipes_before = std::signal(SIGPIPE, SIG_IGN);

std::string probe() {
  return std::getenv("NET_PAIRS_PROBE");
}

words shell(const std::string& script) {
  return {"/bin/sh", "-c", script};
}

words plain_agent() {
  return shell("exec '" + probe() + "' agent 60");
}

game_plan plan_of(std::size_t nodes) {
  game_plan plan;
  for (std::size_t i = 1; i <= nodes; ++i)
    plan.nodes.push_back("127.0.0." + std::to_string(i));
  plan.start_command = [](std::size_t) { return plain_agent(); };
  plan.network_name = [names = plan.nodes](std::size_t i) { return names[i]; };
  plan.rounds = all_rounds(nodes);
  plan.how = {20, milliseconds(20), milliseconds(10), milliseconds(3000)};
  plan.start_patience = milliseconds(30'000);
  plan.end = clock::now() + milliseconds(120'000);
  return plan;
}

// A plan where `node` is started by `script`.
game_plan plan_with(std::size_t nodes, std::size_t node,
                    const std::string& script) {
  game_plan plan = plan_of(nodes);
  plan.start_command = [=](std::size_t which) {
    return which == node ? shell(script) : plain_agent();
  };
  return plan;
}

std::size_t found(const outcome& all) {
  std::size_t count = 0;
  for (const pair_outcome& one : all.pairs)
    count += one.found ? 1 : 0;
  return count;
}

TEST(play_tournament, measures_every_pair) {
  const outcome all = play_tournament(plan_of(5));
  EXPECT_EQ(all.rounds_played, 5U);
  EXPECT_EQ(all.pairs_planned, 10U);
  EXPECT_EQ(found(all), 10U);
  EXPECT_TRUE(all.lost.empty());
  EXPECT_EQ(all.pairs.front().pair, (pairing{0, 1}));
  EXPECT_EQ(all.pairs.back().pair, (pairing{3, 4}));
}

TEST(play_tournament, passes_over_what_a_login_prints) {
  const outcome all = play_tournament(
      plan_with(2, 1,
                "echo Welcome; printf '\\033[31mno newline '; echo; exec '" +
                    probe() + "' agent 60"));
  EXPECT_EQ(found(all), 1U);
}

TEST(play_tournament, goes_on_without_a_node_that_cannot_be_reached) {
  const outcome all = play_tournament(
      plan_with(4, 2, "echo 'ssh: no way \033 there' >&2; exit 255"));
  EXPECT_EQ(found(all), 3U);
  ASSERT_EQ(all.lost.size(), 1U);
  EXPECT_EQ(all.lost[0].node, 2U);
  EXPECT_EQ(all.lost[0].reason, "ssh: no way   there");
}

TEST(play_tournament, tells_how_a_node_ended_that_said_nothing) {
  const outcome all = play_tournament(plan_with(2, 1, "exit 7"));
  ASSERT_EQ(all.lost.size(), 1U);
  EXPECT_EQ(all.lost[0].reason, "ended with status 7");
}

TEST(play_tournament, gives_up_on_an_agent_that_never_says_hello) {
  game_plan plan = plan_with(3, 1, "exec sleep 600");
  plan.start_patience = milliseconds(1000);
  const outcome all = play_tournament(plan);
  EXPECT_EQ(found(all), 1U);
  ASSERT_EQ(all.lost.size(), 1U);
  EXPECT_EQ(all.lost[0].reason, "no answer in 1 s");
}

TEST(play_tournament, loses_a_node_that_dies_in_the_game) {
  // It says hello and goes when it is told to measure.
  const outcome all = play_tournament(
      plan_with(3, 2, "echo net_pairs 1 9; read -r secret; read -r order"));
  EXPECT_EQ(found(all), 1U);
  ASSERT_EQ(all.lost.size(), 1U);
  EXPECT_EQ(all.lost[0].node, 2U);
}

TEST(play_tournament, loses_a_node_that_falls_silent_in_the_game) {
  game_plan plan = plan_with(3, 2, "echo net_pairs 1 9; exec sleep 600");
  plan.connect_patience = milliseconds(300);
  plan.how.slack = milliseconds(100);
  const outcome all = play_tournament(plan);
  EXPECT_EQ(found(all), 1U);
  ASSERT_EQ(all.lost.size(), 1U);
  EXPECT_EQ(all.lost[0].reason.substr(0, 9), "no answer");
}

TEST(play_tournament, is_not_led_astray_by_lies) {
  const outcome all = play_tournament(
      plan_with(2, 1,
                "echo net_pairs 1 9; while read -r order; do"
                " echo found 99 1 2 3 4; echo nonsense; echo served 1; done"));
  EXPECT_EQ(found(all), 0U);
  ASSERT_EQ(all.pairs.size(), 1U);
  EXPECT_EQ(all.pairs[0].reason, "connect to 127.0.0.2: Connection refused");
}

TEST(play_tournament, plays_no_round_that_may_not_end_in_time) {
  game_plan plan = plan_of(2);
  plan.end = clock::now() + most_time_of_round(plan) - milliseconds(1);
  const outcome all = play_tournament(plan);
  EXPECT_EQ(all.rounds_played, 0U);
  EXPECT_EQ(all.pairs_planned, 1U);
}

TEST(play_tournament, survives_a_program_that_is_not_there) {
  game_plan plan = plan_of(2);
  plan.start_command = [](std::size_t node) {
    return node == 0 ? plain_agent() : words{"/no/such/program"};
  };
  const outcome all = play_tournament(plan);
  ASSERT_EQ(all.lost.size(), 1U);
  EXPECT_EQ(all.lost[0].reason, "/no/such/program: No such file or directory");
}

}  // namespace
}  // namespace zelk::net_pairs
