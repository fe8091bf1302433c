// Plays the tournament: starts an agent on every node, has them measure round
// by round, and keeps what they found.
//
// Everything is bounded: the start of the agents, each round, and all rounds
// together by `end`. A node that gives no answer is out of the game and costs
// one round's patience, once.

#pragma once

#include <cstddef>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "provider/src/net_pairs/control.h"
#include "provider/src/net_pairs/tournament.h"

namespace zelk::net_pairs {

struct game_plan {
  std::vector<std::string> nodes;  // the first one is this one
  // Makes the command that starts an agent on a node, by its place.
  std::function<std::vector<std::string>(std::size_t)> start_command;
  // The name under which the others reach a node's network to be measured.
  std::function<std::string(std::size_t)> network_name;
  std::size_t rounds = 0;
  measure_plan how;
  milliseconds start_patience{20'000};   // for all agents together
  milliseconds connect_patience{5'000};  // for each measurement
  clock::time_point end;
};

struct pair_outcome {
  pairing pair;
  std::optional<pair_figures> found;
  std::string reason;  // why there are no figures
};

struct node_loss {
  std::size_t node = 0;
  std::string reason;
};

struct outcome {
  std::vector<pair_outcome> pairs;  // that were tried, in the order of nodes
  std::vector<node_loss> lost;      // in the order of nodes
  std::size_t rounds_played = 0;
  std::size_t pairs_planned = 0;
};

outcome play_tournament(const game_plan& plan);

// What a round may take.
milliseconds most_time_of_round(const game_plan& plan);

}  // namespace zelk::net_pairs
