#include "provider/src/common/clock_rate.h"

#include <gtest/gtest.h>

#include "provider/src/common/test_tree.h"

namespace zelk::perf {
namespace {

// No processor of today runs outside these.
constexpr double least_mhz = 300, most_mhz = 9000;

TEST(measured_mhz, lies_where_clocks_lie) {
#if defined(__x86_64__) || defined(__aarch64__)
  const double mhz = measured_mhz();
  EXPECT_GT(mhz, least_mhz);
  EXPECT_LT(mhz, most_mhz);
#else
  EXPECT_EQ(measured_mhz(), 0);
#endif
}

TEST(told_mhz, prefers_cpufreq) {
  const test_tree tree;
  tree.put("/sys/devices/system/cpu/cpu3/cpufreq/scaling_cur_freq",
           "3500000\n");
  tree.put("/proc/cpuinfo", "processor\t: 3\ncpu MHz\t\t: 2000.0\n");
  EXPECT_DOUBLE_EQ(told_mhz(tree.root(), 3), 3500);
}

TEST(told_mhz, finds_the_block_of_the_processor_in_cpuinfo) {
  const test_tree tree;
  tree.put("/proc/cpuinfo",
           "processor\t: 0\ncpu MHz\t\t: 2000.5\n\n"
           "processor\t: 1\ncpu MHz\t\t: 2100.5\n");
  EXPECT_DOUBLE_EQ(told_mhz(tree.root(), 1), 2100.5);
}

TEST(told_mhz, is_zero_where_nobody_tells) {
  const test_tree tree;
  EXPECT_DOUBLE_EQ(told_mhz(tree.root(), 0), 0);
}

TEST(hottest_sensor, looks_at_processors_only) {
  const test_tree tree;
  tree.put("/sys/class/hwmon/hwmon0/name", "nvme\n");
  tree.put("/sys/class/hwmon/hwmon0/temp1_input", "90000\n");
  tree.put("/sys/class/hwmon/hwmon1/name", "coretemp\n");
  tree.put("/sys/class/hwmon/hwmon1/temp1_input", "55000\n");
  tree.put("/sys/class/hwmon/hwmon1/temp17_input", "61500\n");
  EXPECT_DOUBLE_EQ(hottest_sensor(tree.root()), 61.5);
}

TEST(share_clock, sees_that_a_thread_was_idle) {
  const share_clock share;
  const double end = now() + 0.05;
  timespec pause{0, 60'000'000};
  while (now() < end)
    nanosleep(&pause, nullptr);
  EXPECT_LT(share.percent(), 50);
}

}  // namespace
}  // namespace zelk::perf
