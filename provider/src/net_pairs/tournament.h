// Who is measured with whom, and when: rounds of pairs without a common node.
//
// Two measurements that share a node would share its link, and each would see
// half of it. In a round nobody has two partners, and over all rounds everybody
// meets everybody once.

#pragma once

#include <cstddef>
#include <vector>

namespace zelk::net_pairs {

struct pairing {
  std::size_t first = 0;  // places in the list of nodes, first < second
  std::size_t second = 0;

  friend bool operator==(const pairing&, const pairing&) = default;
};

using round = std::vector<pairing>;  // by their first

// Rounds until everybody has met everybody.
std::size_t all_rounds(std::size_t nodes);

// Half of them, rounded up: time grows with half the nodes, and each node has
// met half of the others. Never fewer than three where there are as many: a
// node is to blame only when it is slow with more than one partner.
std::size_t usual_rounds(std::size_t nodes);

// The first `rounds` of a tournament, or all there are. An odd number of nodes
// leaves out another one in each round.
std::vector<round> tournament(std::size_t nodes, std::size_t rounds);

}  // namespace zelk::net_pairs
