#include "src/check/command/limits.h"

#include <gtest/gtest.h>

#include "src/check/command/option_values.h"
#include "src/collect/src/reading/failure.h"

namespace zelk::check {
namespace {

fact_column column(const std::string& name, const std::string& unit,
                   facts::value_type type = facts::value_type::integer) {
  fact_column made;
  made.name = name;
  made.traits.unit = unit;
  made.traits.type = type;
  return made;
}

run_data run_of_facts() {
  run_data run;
  run.facts = {column("kernel", "", facts::value_type::text),
               column("mem.total", "KiB"), column("mtu.a", ""),
               column("mtu.b", ""), column("triad", "MB/s")};
  return run;
}

std::vector<metric_limit> limits_of(const std::string& text) {
  return limits_for({text}, run_of_facts());
}

TEST(limits_for, takes_any_unit_of_the_fact_s_kind) {
  const std::vector<std::pair<std::string, double>> cases = {
      {"triad=410GB/s:", 410'000},      {"triad=410 GB/s:", 410'000},
      {"triad=410000:", 410'000},       {"triad=410000MB/s:", 410'000},
      {"mem.total=10GiB:", 10'485'760}, {"mem.total=10485760:", 10'485'760}};
  for (const auto& [text, start] : cases) {
    SCOPED_TRACE(text);
    const std::vector<metric_limit> limits = limits_of(text);
    ASSERT_EQ(limits.size(), 1U);
    EXPECT_DOUBLE_EQ(limits[0].allowed.start, start);
    EXPECT_FALSE(limits[0].allowed.holds(start - 1));
    EXPECT_EQ(limits[0].text, text);
  }
}

TEST(limits_for, keeps_the_marks_of_a_range) {
  const range outside = limits_of("mem.total=@1GiB:2GiB").front().allowed;
  EXPECT_TRUE(outside.holds(10));
  EXPECT_FALSE(outside.holds(1'500'000));
  const range below = limits_of("mem.total=~:1GiB").front().allowed;
  EXPECT_TRUE(below.holds(-5));
  EXPECT_FALSE(below.holds(1'048'577));
}

TEST(limits_for, is_of_each_fact_of_a_pattern) {
  const std::vector<metric_limit> limits = limits_of("mtu.*=9000:9000");
  ASSERT_EQ(limits.size(), 2U);
  EXPECT_EQ(limits[0].metric, "mtu.a");
  EXPECT_EQ(limits[1].metric, "mtu.b");
}

TEST(limits_for, refuses_what_no_fact_can_keep) {
  for (const char* text : {"kernel=5:", "triad=10GiB:", "mtu.a=9KiB:",
                           "nothing=1", "triat=1", "ker*=1"})
    EXPECT_THROW(limits_of(text), reading::refusal) << text;
}

TEST(read_typed_limit, refuses_what_is_no_range) {
  for (const char* text :
       {"triad", "=5", "triad=", "triad=5XYZ:", "triad=five",
        "triad=GB/s:", "triad=1GB/s:2MB/s", "triad=5:4", "triad=5:6:7"})
    EXPECT_THROW(read_typed_limit(text), usage_mistake) << text;
}

}  // namespace
}  // namespace zelk::check
