#include "src/collect/src/accumulate/digest_filter.h"

#include <random>
#include <vector>

#include <gtest/gtest.h>

namespace zelk::accumulate {
namespace {

std::vector<std::int64_t> prefixes(std::size_t count, unsigned seed) {
  std::mt19937_64 random(seed);
  std::vector<std::int64_t> result;
  while (result.size() < count)
    result.push_back(static_cast<std::int64_t>(random()));
  return result;
}

double share_of_perhaps(const digest_filter& filter) {
  int perhaps = 0;
  for (const std::int64_t prefix : prefixes(100'000, 2))
    perhaps += filter.may_hold(prefix) ? 1 : 0;
  return perhaps / 100'000.0;
}

TEST(digest_filter, denies_nothing_that_was_added) {
  for (const std::size_t count : {1U, 100U, 50'000U}) {
    digest_filter filter;
    filter.reset(count);
    for (const std::int64_t prefix : prefixes(count, 1))
      filter.add(prefix);
    for (const std::int64_t prefix : prefixes(count, 1))
      EXPECT_TRUE(filter.may_hold(prefix));
    EXPECT_FALSE(filter.crowded());
  }
}

TEST(digest_filter, denies_nearly_everything_else) {
  digest_filter filter;
  filter.reset(60'000);
  EXPECT_EQ(share_of_perhaps(filter), 0);
  for (const std::int64_t prefix : prefixes(60'000, 1))
    filter.add(prefix);
  EXPECT_LT(share_of_perhaps(filter), 0.03);
}

TEST(digest_filter, knows_when_it_holds_too_many) {
  digest_filter filter;
  filter.reset(100);
  for (const std::int64_t prefix : prefixes(1000, 1))
    filter.add(prefix);
  EXPECT_TRUE(filter.crowded());
  filter.reset(1000);
  EXPECT_FALSE(filter.crowded());
  EXPECT_EQ(share_of_perhaps(filter), 0);
}

// A senseless count out of a damaged file must not take all memory.
TEST(digest_filter, stays_within_its_limit) {
  digest_filter filter;
  filter.reset(static_cast<std::size_t>(-1) / 8);
  filter.add(5);
  EXPECT_TRUE(filter.may_hold(5));
}

}  // namespace
}  // namespace zelk::accumulate
