#include "provider/src/common/settings.h"

#include <stdlib.h>

#include <new>

#include <gtest/gtest.h>

namespace zelk::perf {
namespace {

class with_variable {
 public:
  with_variable(const char* name, const char* text) : name_(name) {
    ::setenv(name, text, 1);
  }
  with_variable(const with_variable&) = delete;
  with_variable& operator=(const with_variable&) = delete;
  ~with_variable() { ::unsetenv(name_); }

 private:
  const char* name_;
};

std::string complaint_about(const char* text) {
  const with_variable set("PERF_TEST", text);
  try {
    number_setting("PERF_TEST", 7, 1, 100);
  } catch (const usage_error& error) {
    return error.what();
  }
  return "";
}

TEST(number_setting, is_the_standard_when_unset_or_empty) {
  EXPECT_EQ(number_setting("PERF_TEST", 7, 1, 100), 7);
  const with_variable set("PERF_TEST", "");
  EXPECT_EQ(number_setting("PERF_TEST", 7, 1, 100), 7);
}

TEST(number_setting, takes_a_number_in_its_range) {
  const with_variable set("PERF_TEST", "100");
  EXPECT_EQ(number_setting("PERF_TEST", 7, 1, 100), 100);
}

TEST(number_setting, refuses_anything_else) {
  for (const char* text : {"0", "101", "-5", "7x", "x", " 7", "7 ", "1e2",
                           "0x10", "7.5", "99999999999999999999"}) {
    SCOPED_TRACE(text);
    EXPECT_EQ(complaint_about(text),
              std::string("PERF_TEST is '") + text +
                  "', expected a whole number from 1 to 100");
  }
}

TEST(seconds_setting, may_have_decimals) {
  EXPECT_DOUBLE_EQ(seconds_setting("PERF_TEST", 5, 10), 5);
  const with_variable set("PERF_TEST", "0.25");
  EXPECT_DOUBLE_EQ(seconds_setting("PERF_TEST", 5, 10), 0.25);
}

TEST(seconds_setting, refuses_what_is_no_duration) {
  for (const char* text : {"0", "-1", "10.5", "nan", "inf", "1s", " 1"}) {
    SCOPED_TRACE(text);
    const with_variable set("PERF_TEST", text);
    EXPECT_THROW(seconds_setting("PERF_TEST", 5, 10), usage_error);
  }
}

TEST(seconds_allowed, leaves_some_for_printing) {
  {
    const with_variable set("ZELK_TIMEOUT", "60");
    EXPECT_DOUBLE_EQ(seconds_allowed(), 55);
  }
  const with_variable set("ZELK_TIMEOUT", "8");
  EXPECT_DOUBLE_EQ(seconds_allowed(), 6);
}

TEST(seconds_allowed, is_long_for_a_start_by_hand) {
  EXPECT_DOUBLE_EQ(seconds_allowed(), 3595);
}

int refuse() {
  throw usage_error("X is wrong");
}
int run_out() {
  throw std::bad_alloc();
}
int end_well() {
  return exit_done;
}

TEST(run_program, turns_exceptions_into_statuses) {
  EXPECT_EQ(run_program("t", end_well), 0);
  ::testing::internal::CaptureStderr();
  EXPECT_EQ(run_program("t", refuse), 2);
  EXPECT_EQ(run_program("t", run_out), 83);
  EXPECT_EQ(::testing::internal::GetCapturedStderr(),
            "t: X is wrong\nt: incomplete: out of memory\n");
}

}  // namespace
}  // namespace zelk::perf
