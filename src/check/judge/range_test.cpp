#include "src/check/judge/range.h"

#include <limits>
#include <string>

#include <gtest/gtest.h>

namespace zelk::check {

namespace {

struct example {
  const char* text;
  double value;
  bool fine;
};

constexpr example examples[] = {
    {"10", 0, true},       {"10", 10, true},      {"10", 10.1, false},
    {"10", -0.1, false},   {"10:", 10, true},     {"10:", 9.9, false},
    {"~:10", -1e9, true},  {"~:10", 10.5, false}, {"10:20", 15, true},
    {"10:20", 21, false},  {"@10:20", 15, false}, {"@10:20", 21, true},
    {"@10:20", 10, false}, {"-5:-1", -3, true},   {"~:", 1e300, true},
    {"1e3:", 999, false},  {"0.5:1.5", 1, true},
};

TEST(read_range, knows_what_is_fine) {
  for (const example& each : examples) {
    SCOPED_TRACE(std::string(each.text) + " " + std::to_string(each.value));
    std::string problem;
    const auto read = read_range(each.text, problem);
    ASSERT_TRUE(read) << problem;
    EXPECT_EQ(read->holds(each.value), each.fine);
    const auto again = read_range(text_of(*read), problem);
    ASSERT_TRUE(again) << problem;
    EXPECT_EQ(again->holds(each.value), each.fine);
  }
}

TEST(read_range, refuses_what_is_none) {
  for (const char* text :
       {"", "@", "x", "1:x", "x:1", "1:2:3", "20:10", " 1", "1 ", "~", "nan",
        "nan:", "inf:", ":-1", "1e999", "0x10", "@@1", "--1"}) {
    SCOPED_TRACE(text);
    std::string problem;
    EXPECT_FALSE(read_range(text, problem));
    EXPECT_NE(problem.find("expected"), problem.npos);
  }
}

TEST(range, holds_nothing_that_is_not_a_number) {
  std::string problem;
  for (const char* text : {"~:", "@1:2"}) {
    const auto read = read_range(text, problem);
    ASSERT_TRUE(read);
    EXPECT_FALSE(read->holds(std::numeric_limits<double>::quiet_NaN()));
    EXPECT_FALSE(read->holds(std::numeric_limits<double>::infinity()));
  }
}

}  // namespace

}  // namespace zelk::check
