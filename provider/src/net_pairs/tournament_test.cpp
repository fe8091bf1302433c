#include "provider/src/net_pairs/tournament.h"

#include <set>
#include <utility>

#include <gtest/gtest.h>

namespace zelk::net_pairs {
namespace {

TEST(tournament, pairs_two_nodes_once) {
  ASSERT_EQ(tournament(2, 9).size(), 1U);
  EXPECT_EQ(tournament(2, 9)[0], (round{{0, 1}}));
}

TEST(tournament, has_nothing_to_play_for_fewer_than_two) {
  EXPECT_TRUE(tournament(0, 9).empty());
  EXPECT_TRUE(tournament(1, 9).empty());
}

TEST(tournament, never_gives_a_node_two_partners_in_a_round) {
  for (std::size_t nodes = 2; nodes <= 33; ++nodes) {
    SCOPED_TRACE(nodes);
    for (const round& played : tournament(nodes, 99)) {
      std::set<std::size_t> seen;
      for (const pairing& pair : played) {
        EXPECT_LT(pair.first, pair.second);
        EXPECT_LT(pair.second, nodes);
        EXPECT_TRUE(seen.insert(pair.first).second);
        EXPECT_TRUE(seen.insert(pair.second).second);
      }
      EXPECT_EQ(played.size(), nodes / 2);
    }
  }
}

TEST(tournament, brings_everybody_together_once_in_all_its_rounds) {
  for (std::size_t nodes = 2; nodes <= 33; ++nodes) {
    SCOPED_TRACE(nodes);
    std::set<std::pair<std::size_t, std::size_t>> met;
    for (const round& played : tournament(nodes, all_rounds(nodes))) {
      for (const pairing& pair : played)
        EXPECT_TRUE(met.insert({pair.first, pair.second}).second);
    }
    EXPECT_EQ(met.size(), nodes * (nodes - 1) / 2);
  }
}

TEST(usual_rounds, are_half_of_the_nodes_and_at_least_three) {
  EXPECT_EQ(usual_rounds(1), 0U);
  EXPECT_EQ(usual_rounds(2), 1U);
  EXPECT_EQ(usual_rounds(3), 3U);
  EXPECT_EQ(usual_rounds(4), 3U);
  EXPECT_EQ(usual_rounds(5), 3U);
  EXPECT_EQ(usual_rounds(9), 5U);
  EXPECT_EQ(usual_rounds(64), 32U);
}

}  // namespace
}  // namespace zelk::net_pairs
