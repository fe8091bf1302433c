// The circle method. One player sits still in the middle, the others on a
// circle that turns by one seat a round: the one at the mark plays the middle,
// and the others play whoever sits opposite. With an odd number the middle is
// empty.
#include "provider/src/net_pairs/tournament.h"

#include <algorithm>

namespace zelk::net_pairs {
namespace {

round play(std::size_t nodes, std::size_t turn) {
  const std::size_t seats = all_rounds(nodes);
  const bool middle = nodes % 2 == 0;
  round made;
  if (middle) made.push_back({turn, nodes - 1});
  for (std::size_t step = 1; step <= (seats - 1) / 2; ++step) {
    const std::size_t left = (turn + step) % seats;
    const std::size_t right = (turn + seats - step) % seats;
    made.push_back({std::min(left, right), std::max(left, right)});
  }
  std::sort(made.begin(), made.end(), [](const pairing& a, const pairing& b) {
    return a.first < b.first;
  });
  return made;
}

}  // namespace

std::size_t all_rounds(std::size_t nodes) {
  if (nodes < 2) return 0;
  return nodes % 2 == 0 ? nodes - 1 : nodes;
}

std::size_t usual_rounds(std::size_t nodes) {
  constexpr std::size_t least = 3;
  return std::min(all_rounds(nodes), std::max(least, (nodes + 1) / 2));
}

std::vector<round> tournament(std::size_t nodes, std::size_t rounds) {
  std::vector<round> made;
  for (std::size_t turn = 0; turn < std::min(rounds, all_rounds(nodes)); ++turn)
    made.push_back(play(nodes, turn));
  return made;
}

}  // namespace zelk::net_pairs
