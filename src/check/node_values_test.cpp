#include "src/check/node_values.h"

#include <map>
#include <random>

#include <gtest/gtest.h>

namespace zelk::check {
namespace {

TEST(node_values, says_the_same_whether_few_or_many_nodes_speak) {
  constexpr std::size_t nodes = 1000;
  for (const std::size_t speakers : {0U, 3U, 500U, 1000U}) {
    SCOPED_TRACE(speakers);
    node_values values(nodes, 3);  // more may come than were expected
    std::map<std::size_t, std::uint32_t> wanted;
    std::mt19937 random(1);
    for (std::size_t i = 0; i < speakers; ++i) {
      const std::size_t node = random() % nodes;
      const auto value = static_cast<std::uint32_t>(random() % 7);
      values.set(node, value);
      wanted[node] = value;
    }
    ASSERT_EQ(values.size(), nodes);
    std::size_t node = 0;
    for (const std::uint32_t value : values) {
      const auto found = wanted.find(node++);
      ASSERT_EQ(value, found == wanted.end() ? no_value : found->second);
    }
  }
}

TEST(node_values, is_equal_by_what_it_says) {
  node_values sparse(100, 1), dense(100, 100);
  EXPECT_EQ(sparse, dense);
  sparse.set(5, 1);
  EXPECT_NE(sparse, dense);
  dense.set(5, 1);
  EXPECT_EQ(sparse, dense);
  EXPECT_NE(sparse, node_values(101, 1));
}

TEST(node_values, changes_its_size_as_a_vector) {
  node_values values(64, 0);
  values.set(1, 7);
  values.push_back(9);
  EXPECT_EQ(values.size(), 65U);
  EXPECT_EQ(values[1], 7U);
  EXPECT_EQ(values[64], 9U);
  values.resize(2);
  EXPECT_EQ(values[1], 7U);
  values.assign(3, 4);
  EXPECT_EQ(values, [] {
    node_values made(3, 3);
    for (std::size_t i = 0; i < 3; ++i)
      made.set(i, 4);
    return made;
  }());
}

}  // namespace
}  // namespace zelk::check
