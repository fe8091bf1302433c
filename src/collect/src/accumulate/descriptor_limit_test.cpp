#include "src/collect/src/accumulate/descriptor_limit.h"

#include <sys/resource.h>

#include <gtest/gtest.h>

namespace zelk::accumulate {
namespace {

TEST(raise_descriptor_limit, takes_all_that_the_process_may_have) {
  rlimit before = {};
  ASSERT_EQ(::getrlimit(RLIMIT_NOFILE, &before), 0);
  rlimit low = before;
  low.rlim_cur = 128;
  ASSERT_EQ(::setrlimit(RLIMIT_NOFILE, &low), 0);
  const std::size_t connections = raise_descriptor_limit();
  rlimit after = {};
  ::getrlimit(RLIMIT_NOFILE, &after);
  ::setrlimit(RLIMIT_NOFILE, &before);
  EXPECT_EQ(after.rlim_cur, before.rlim_max);
  EXPECT_GT(connections, 64U);
  EXPECT_LE(connections + reserved_descriptors, before.rlim_max);
}

TEST(capacity_problem, compares_with_the_nodes_that_are_expected) {
  EXPECT_EQ(capacity_problem(100, 0), "");
  EXPECT_EQ(capacity_problem(100, 100), "");
  EXPECT_EQ(capacity_problem(100, 101),
            "Expecting 101 nodes, but only 100 can be connected at once: raise "
            "the hard limit on open files (ulimit -Hn, LimitNOFILE=) to 165");
}

TEST(backlog_problem, compares_with_the_system) {
  EXPECT_EQ(backlog_problem(1), "");
  EXPECT_NE(backlog_problem(1 << 30), "");
}

}  // namespace
}  // namespace zelk::accumulate
