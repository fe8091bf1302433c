#include "src/collect/src/collect/cluster_groups.h"

#include <algorithm>
#include <set>

#include <gtest/gtest.h>

namespace zelk::collect {
namespace {

using names = std::vector<std::string>;
using groups = std::vector<names>;

TEST(make_groups, divides_in_the_order_asked_for) {
  const names four = {"a", "b", "c", "d"};
  const struct {
    nodelist_method_t method;
    groups expected;
  } cases[] = {
      {nodelist_method_t::NONE, {{"a", "b"}, {"c", "d"}}},
      {nodelist_method_t::ROTATE_RIGHT, {{"d", "a"}, {"b", "c"}}},
      {nodelist_method_t::ROTATE_LEFT, {{"b", "c"}, {"d", "a"}}},
      {nodelist_method_t::ROUND_ROBIN, {{"a", "c"}, {"b", "d"}}},
  };
  for (const auto& one : cases) {
    const cluster_groups made = make_groups(four, 2, 2, one.method, 0);
    EXPECT_EQ(made.groups, one.expected) << static_cast<int>(one.method);
    EXPECT_EQ(made.left_over, names{});
  }
}

TEST(make_groups, tells_who_is_left_over) {
  const cluster_groups made =
      make_groups({"a", "b", "c"}, 2, 2, nodelist_method_t::NONE, 0);
  EXPECT_EQ(made.groups, (groups{{"a", "b"}}));
  EXPECT_EQ(made.left_over, names{"c"});
}

TEST(make_groups, deals_to_groups_of_several_sizes) {
  const cluster_groups made =
      make_groups({"a", "b", "c", "d", "e", "f", "g", "h", "i", "j", "k"}, 5, 2,
                  nodelist_method_t::ROUND_ROBIN, 0);
  EXPECT_EQ(
      made.groups,
      (groups{{"a", "d", "g", "j"}, {"b", "e", "h", "k"}, {"c", "f", "i"}}));
}

TEST(make_groups, makes_one_group_of_all_without_a_size) {
  EXPECT_EQ(
      make_groups({"a", "b", "c"}, 0, 1, nodelist_method_t::NONE, 0).groups,
      (groups{{"a", "b", "c"}}));
}

TEST(make_groups, has_no_groups_of_no_nodes) {
  for (const nodelist_method_t method :
       {nodelist_method_t::NONE, nodelist_method_t::ROTATE_LEFT,
        nodelist_method_t::ROTATE_RIGHT, nodelist_method_t::ROUND_ROBIN,
        nodelist_method_t::RANDOM})
    EXPECT_TRUE(make_groups({}, 2, 2, method, 1).groups.empty());
}

TEST(make_groups, puts_each_node_in_one_place) {
  for (int total = 1; total < 40; ++total)
    for (int size = 0; size < 8; ++size)
      for (const auto& [name, method] : nodelist_method_names) {
        names all;
        for (int i = 0; i < total; ++i)
          all.push_back(std::to_string(i));
        const cluster_groups made = make_groups(all, size, 2, method, 7);
        names placed = made.left_over;
        for (const names& group : made.groups)
          placed.insert(placed.end(), group.begin(), group.end());
        std::sort(placed.begin(), placed.end());
        std::sort(all.begin(), all.end());
        EXPECT_EQ(placed, all) << name << " " << total << " " << size;
      }
}

// The seed is printed so that the same groups can be made again, elsewhere too.
TEST(shuffle, depends_on_the_seed_alone) {
  names first = {"a", "b", "c", "d", "e", "f"};
  names second = first;
  shuffle(first, 42);
  shuffle(second, 42);
  EXPECT_EQ(first, second);
  EXPECT_EQ(first, (names{"d", "b", "f", "c", "e", "a"}));
  std::set<names> orders;
  for (std::uint64_t seed = 0; seed < 50; ++seed) {
    names one = {"a", "b", "c", "d"};
    shuffle(one, seed);
    orders.insert(one);
  }
  EXPECT_GT(orders.size(), 10U);
}

}  // namespace
}  // namespace zelk::collect
