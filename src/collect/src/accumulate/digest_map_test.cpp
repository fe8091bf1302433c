#include "src/collect/src/accumulate/digest_map.h"

#include <cstring>
#include <map>

#include <gtest/gtest.h>

namespace zelk::accumulate {
namespace {

// Names that differ in their last byte only all want the same slot.
digest crowded(int i) {
  digest name = {};
  name[31] = static_cast<unsigned char>(i);
  name[30] = static_cast<unsigned char>(i >> 8);
  return name;
}

TEST(digest_map, has_nothing_at_first) {
  digest_map map;
  EXPECT_EQ(map.find(crowded(1)), 0);
  EXPECT_EQ(map.size(), 0U);
  map.erase(crowded(1));
}

TEST(digest_map, finds_names_that_crowd_one_slot) {
  digest_map map;
  for (int i = 0; i < 3000; ++i)
    map.add(crowded(i), i + 1);
  for (int i = 0; i < 3000; ++i)
    EXPECT_EQ(map.find(crowded(i)), i + 1);
  EXPECT_EQ(map.find(crowded(3000)), 0);
  EXPECT_EQ(map.size(), 3000U);
}

TEST(digest_map, still_finds_what_lies_behind_an_erased_name) {
  digest_map map;
  for (int i = 0; i < 10; ++i)
    map.add(crowded(i), i + 1);
  map.erase(crowded(4));
  map.erase(crowded(4));
  EXPECT_EQ(map.find(crowded(4)), 0);
  EXPECT_EQ(map.find(crowded(9)), 10);
  EXPECT_EQ(map.size(), 9U);
  map.add(crowded(4), 77);
  EXPECT_EQ(map.find(crowded(4)), 77);
  EXPECT_EQ(map.size(), 10U);
}

// A sender of refused records adds and erases for ever.
TEST(digest_map, does_not_fill_up_with_erased_names) {
  digest_map map;
  for (int i = 0; i < 100'000; ++i) {
    digest name = {};
    std::memcpy(name.data(), &i, sizeof i);
    map.add(name, 1);
    map.erase(name);
  }
  EXPECT_EQ(map.size(), 0U);
  EXPECT_LT(map.slots(), 10'000U);
}

TEST(digest_map, visits_every_name_once) {
  digest_map map;
  for (int i = 0; i < 100; ++i)
    map.add(crowded(i), i + 1);
  map.erase(crowded(50));
  std::map<std::int64_t, int> seen;
  map.for_each([&](const digest&, std::int64_t id) { ++seen[id]; });
  EXPECT_EQ(seen.size(), 99U);
  EXPECT_EQ(seen.count(51), 0U);
  map.clear();
  EXPECT_EQ(map.find(crowded(1)), 0);
}

}  // namespace
}  // namespace zelk::accumulate
