#include "src/common/text/time_text.h"

#include <cstdlib>
#include <ctime>

#include <gtest/gtest.h>

namespace zelk::text {
namespace {

constexpr std::int64_t hour = 3600 * usec_per_sec;
constexpr std::int64_t day = 24 * hour;

class in_utc : public testing::Test {
 protected:
  in_utc() {
    ::setenv("TZ", "UTC", 1);
    ::tzset();
  }
  ~in_utc() override {
    ::unsetenv("TZ");
    ::tzset();
  }
};

TEST(duration_usec, reads_one_unit_or_several) {
  EXPECT_EQ(duration_usec("90s"), 90 * usec_per_sec);
  EXPECT_EQ(duration_usec("15m"), 900 * usec_per_sec);
  EXPECT_EQ(duration_usec("1d12h"), day + 12 * hour);
  EXPECT_EQ(duration_usec("2w"), 14 * day);
  EXPECT_EQ(duration_usec("0s"), 0);
}

TEST(duration_usec, refuses_what_is_no_duration) {
  for (const char* text :
       {"", "7", "d", "-1d", "1x", "1d ", " 1d", "1.5d",
        "99999999999999999999d", "9223372036854775807w", "1d1", "+1d"})
    EXPECT_FALSE(duration_usec(text).has_value()) << text;
}

TEST_F(in_utc, a_day_lasts_until_the_next) {
  const auto found = read_time("2025-11-20", 0);
  ASSERT_TRUE(found.has_value());
  EXPECT_EQ(found->from_usec, 1'763'596'800 * usec_per_sec);
  EXPECT_EQ(found->until_usec - found->from_usec, day);
}

TEST_F(in_utc, now_and_before_are_points) {
  EXPECT_EQ(read_time("now", 10 * day)->from_usec, 10 * day);
  EXPECT_EQ(read_time("now-7d", 10 * day)->until_usec, 3 * day);
  for (const char* text : {"now-", "now-7", "now+1d", "2025-11-2", "2025-13-01",
                           "2025-11-20x", "", "today"})
    EXPECT_FALSE(read_time(text, 0).has_value()) << text;
}

TEST_F(in_utc, times_are_written_to_the_minute) {
  EXPECT_EQ(local_time(1'763'690'712 * usec_per_sec), "2025-11-21 02:05");
  EXPECT_EQ(utc_time(1'763'690'712 * usec_per_sec), "2025-11-21T02:05:12Z");
  EXPECT_EQ(utc_time(-1), "1969-12-31T23:59:59Z");
  EXPECT_NE(local_time(INT64_MAX), "");
  EXPECT_NE(local_time(INT64_MIN), "");
}

TEST(short_duration, has_two_units_at_most) {
  EXPECT_EQ(short_duration(400'000), "0.4s");
  EXPECT_EQ(short_duration(12 * usec_per_sec), "12s");
  EXPECT_EQ(short_duration(312 * usec_per_sec), "5m12s");
  EXPECT_EQ(short_duration(hour + 120 * usec_per_sec), "1h02m");
  EXPECT_EQ(short_duration(3 * day + 4 * hour), "3d04h");
}

}  // namespace
}  // namespace zelk::text
