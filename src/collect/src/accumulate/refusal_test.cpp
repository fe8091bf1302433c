#include "src/collect/src/accumulate/refusal.h"

#include <algorithm>

#include <gtest/gtest.h>

#include "src/common/log/captured_log.h"

namespace zelk::accumulate {
namespace {

using lines = std::vector<std::string>;
using std::chrono::seconds;

struct refusal_log_test : public ::testing::Test {
  log::captured_log log;
  refusal_log refusals;
  refusal_log::clock::time_point now = refusal_log::clock::now();
};

TEST_F(refusal_log_test, names_each_of_a_few) {
  refusals.add(refusal::malformed, "10.0.0.1", "one", now);
  refusals.add(refusal::garbage, "10.0.0.1", "two", now);
  EXPECT_EQ(log.lines(), (lines{"one", "two"}));
  EXPECT_EQ(refusals.total(refusal::malformed), 1U);
  EXPECT_EQ(refusals.messages(), 1U);
  refusals.settle(now, true);
  EXPECT_EQ(log.lines().size(), 2U);
}

TEST_F(refusal_log_test, counts_what_it_does_not_name) {
  for (int i = 0; i < 1000; ++i)
    refusals.add(refusal::malformed, "10.0.0.1", "noise", now);
  refusals.add(refusal::oversize, "10.0.0.2", "another peer", now);
  const lines named = log.lines();
  EXPECT_LT(named.size(), 100U);
  EXPECT_EQ(named.back(), "another peer");
  refusals.settle(now + seconds(11));
  EXPECT_EQ(log.lines().back(), "Refused without a line each: " +
                                    std::to_string(1000 - (named.size() - 1)) +
                                    " malformed");
  EXPECT_EQ(refusals.total(refusal::malformed), 1000U);
  refusals.add(refusal::malformed, "10.0.0.1", "later", now + seconds(12));
  EXPECT_EQ(log.lines().back(), "later");
}

TEST_F(refusal_log_test, names_an_oversize_record_among_any_number_of_others) {
  for (int i = 0; i < 1000; ++i) {
    refusals.add(refusal::malformed, std::to_string(i), "noise", now);
    refusals.add(refusal::malformed, "10.0.0.1", "noise", now);
  }
  for (int i = 0; i < 100; ++i)
    refusals.add(refusal::oversize, "10.0.0.1", "large", now);
  EXPECT_EQ(std::ranges::count(log.lines(), "large"), 100);
  refusals.add(refusal::garbage, "10.0.0.1", "of another kind", now);
  EXPECT_EQ(log.lines().back(), "of another kind");
}

TEST_F(refusal_log_test, is_not_filled_by_many_peers) {
  for (int i = 0; i < 10'000; ++i)
    refusals.add(refusal::silent, std::to_string(i), "noise", now);
  EXPECT_LT(log.lines().size(), 100U);
  EXPECT_EQ(refusals.messages(), 0U);
  EXPECT_EQ(refusals.total(refusal::silent), 10'000U);
}

}  // namespace
}  // namespace zelk::accumulate
