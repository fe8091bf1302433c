#include "src/collect/src/collect/limit_text.h"

#include <gtest/gtest.h>

namespace zelk::collect {
namespace {

TEST(limit_text, says_who_set_the_limit) {
  option_set set;
  set.timeout = std::chrono::seconds(300);
  EXPECT_EQ(limit_text(set, false), "limit 300 s from description");
  set.timeout_sec = 100;  // as written; three nodes, and scaled
  EXPECT_EQ(limit_text(set, false), "limit 300 s from the provider options");
  EXPECT_EQ(limit_text(set, true), "limit 300 s from --timeout");
}

}  // namespace
}  // namespace zelk::collect
