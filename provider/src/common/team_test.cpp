#include "provider/src/common/team.h"

#include <stdexcept>

#include <gtest/gtest.h>

#include "provider/src/common/cpus.h"

namespace zelk::perf {
namespace {

TEST(gate, lets_nobody_through_before_all_are_there) {
  constexpr std::size_t threads = 4;
  gate together(threads);
  std::atomic<std::size_t> arrived = 0;
  std::atomic<bool> early = false;
  const int here = allowed_cpus().front();
  run_bound(std::vector<int>(threads, here), [&](std::size_t) {
    for (std::size_t round = 1; round <= 50; ++round) {
      ++arrived;
      together.wait();
      if (arrived < round * threads) early = true;
      together.wait();
    }
  });
  EXPECT_FALSE(early);
  EXPECT_EQ(arrived, 50 * threads);
}

TEST(run_bound, puts_each_thread_where_it_belongs) {
  const std::vector<int> cpus = allowed_cpus();
  std::vector<std::vector<int>> seen(cpus.size());
  EXPECT_EQ(run_bound(cpus, [&](std::size_t i) { seen[i] = allowed_cpus(); }),
            0u);
  for (std::size_t i = 0; i < cpus.size(); ++i)
    EXPECT_EQ(seen[i], std::vector<int>{cpus[i]});
}

TEST(run_bound, counts_threads_that_could_not_be_bound) {
  int runs = 0;
  EXPECT_EQ(run_bound({60000}, [&](std::size_t) { ++runs; }), 1u);
  EXPECT_EQ(runs, 1);
}

TEST(run_bound, passes_an_exception_on) {
  const auto fail = [](std::size_t) { throw std::runtime_error("no"); };
  EXPECT_THROW(run_bound({allowed_cpus().front()}, fail), std::runtime_error);
}

}  // namespace
}  // namespace zelk::perf
