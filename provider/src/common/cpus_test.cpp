#include "provider/src/common/cpus.h"

#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "provider/src/common/test_tree.h"

namespace zelk::perf {
namespace {

using numbers = std::vector<int>;

constexpr std::uint64_t mib = 1 << 20;

TEST(read_cpu_list, takes_single_numbers_and_ranges) {
  EXPECT_EQ(read_cpu_list("0"), (numbers{0}));
  EXPECT_EQ(read_cpu_list("0-2,7"), (numbers{0, 1, 2, 7}));
}

TEST(read_cpu_list, gives_nothing_for_what_is_no_list) {
  for (const char* text : {"", "x", "1-", "3-1", "-1", "1-2x", "0-99999999"}) {
    SCOPED_TRACE(text);
    EXPECT_TRUE(read_cpu_list(text).empty());
  }
}

TEST(allowed_cpus, names_what_this_thread_may_use) {
  const numbers all = allowed_cpus();
  ASSERT_FALSE(all.empty());
  std::thread([&] {
    ASSERT_TRUE(bind_to_cpu(all.back()));
    EXPECT_EQ(allowed_cpus(), (numbers{all.back()}));
  }).join();
}

TEST(bind_to_cpu, fails_for_a_processor_that_is_not_there) {
  std::thread([] { EXPECT_FALSE(bind_to_cpu(60000)); }).join();
}

// Two sockets of two cores of two threads: 0 1 | 2 3, siblings n and n + 4.
void put_two_sockets(const test_tree& tree) {
  for (int number = 0; number < 8; ++number) {
    const int core = number % 4;
    const std::string folder =
        "/sys/devices/system/cpu/cpu" + std::to_string(number);
    tree.put(folder + "/topology/physical_package_id",
             std::to_string(core / 2) + "\n");
    tree.put(folder + "/topology/thread_siblings_list",
             std::to_string(core) + "," + std::to_string(core + 4) + "\n");
    tree.put(folder + "/cache/index0/type", "Data\n");
    tree.put(folder + "/cache/index0/level", "1\n");
    tree.put(folder + "/cache/index0/size", "48K\n");
    tree.put(folder + "/cache/index1/type", "Unified\n");
    tree.put(folder + "/cache/index1/level", "3\n");
    tree.put(folder + "/cache/index1/size", "32M\n");
    tree.put(folder + "/cache/index1/shared_cpu_list",
             core < 2 ? "0-1,4-5\n" : "2-3,6-7\n");
  }
}

TEST(place_cpus, knows_sockets_and_cores) {
  const test_tree tree;
  put_two_sockets(tree);
  const auto cores =
      one_per_core(place_cpus(tree.root(), {0, 1, 2, 3, 4, 5, 6, 7}));
  EXPECT_EQ(numbers_of(cores), (numbers{0, 1, 2, 3}));
  EXPECT_EQ(packages_of(cores), (numbers{0, 1}));
  EXPECT_EQ(numbers_of(cpus_of_package(cores, 1)), (numbers{2, 3}));
}

TEST(place_cpus, takes_the_thread_of_a_core_that_is_left_by_a_cpuset) {
  const test_tree tree;
  put_two_sockets(tree);
  EXPECT_EQ(numbers_of(one_per_core(place_cpus(tree.root(), {4, 6}))),
            (numbers{4, 6}));
}

TEST(place_cpus, has_one_socket_where_the_kernel_tells_nothing) {
  const test_tree tree;
  const auto cores = one_per_core(place_cpus(tree.root(), {0, 1}));
  EXPECT_EQ(numbers_of(cores), (numbers{0, 1}));
  EXPECT_EQ(packages_of(cores), (numbers{0}));
}

TEST(read_caches, counts_a_shared_cache_once) {
  const test_tree tree;
  put_two_sockets(tree);
  const cache_sizes both =
      read_caches(tree.root(), place_cpus(tree.root(), {0, 1, 2, 3}));
  EXPECT_EQ(both.first_data, 48u << 10);
  EXPECT_EQ(both.last_sum, 64 * mib);
  const cache_sizes one =
      read_caches(tree.root(), place_cpus(tree.root(), {0, 1}));
  EXPECT_EQ(one.last_sum, 32 * mib);
}

TEST(read_caches, gives_zero_where_the_kernel_tells_nothing) {
  const test_tree tree;
  EXPECT_EQ(read_caches(tree.root(), place_cpus(tree.root(), {0})).last_sum,
            0u);
}

TEST(available_memory, is_the_machines_where_no_group_has_a_limit) {
  const test_tree tree;
  tree.put("/proc/meminfo", "MemTotal: 9 kB\nMemAvailable:    2048 kB\n");
  tree.put("/proc/self/cgroup", "0::/job/step\n");
  tree.put("/sys/fs/cgroup/job/step/memory.max", "max\n");
  EXPECT_EQ(available_memory(tree.root()), 2 * mib);
}

TEST(available_memory, is_bounded_by_any_group_above) {
  const test_tree tree;
  tree.put("/proc/meminfo", "MemAvailable:    2048 kB\n");
  tree.put("/proc/self/cgroup", "0::/job/step\n");
  tree.put("/sys/fs/cgroup/job/memory.max", "1572864\n");
  tree.put("/sys/fs/cgroup/job/memory.current", "524288\n");
  tree.put("/sys/fs/cgroup/job/step/memory.max", "max\n");
  EXPECT_EQ(available_memory(tree.root()), mib);
}

TEST(available_memory, knows_the_older_groups_too) {
  const test_tree tree;
  tree.put("/proc/meminfo", "MemAvailable:    2048 kB\n");
  tree.put("/proc/self/cgroup", "5:cpu:/x\n4:memory:/job\n");
  tree.put("/sys/fs/cgroup/memory/job/memory.limit_in_bytes", "1048576\n");
  tree.put("/sys/fs/cgroup/memory/job/memory.usage_in_bytes", "2097152\n");
  EXPECT_EQ(available_memory(tree.root()), 0u);
}

TEST(available_memory, is_zero_where_the_kernel_does_not_tell) {
  const test_tree tree;
  EXPECT_EQ(available_memory(tree.root()), 0u);
}

}  // namespace
}  // namespace zelk::perf
