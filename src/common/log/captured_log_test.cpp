#include "src/common/log/captured_log.h"

#include <iostream>

#include <gtest/gtest.h>

#include "src/common/log/error_log.h"

namespace zelk::log {
namespace {

using lines = std::vector<std::string>;

void say(int level, const std::string& text) {
  ErrorLog("src/x", "say", 1, level).stream() << text;
}

TEST(captured_log, keeps_the_lines_of_its_scope) {
  captured_log log;
  EXPECT_EQ(log.lines(), lines{});
  say(level_error, "one");
  say(level_debug, "");
  say(level_info, "two\nthree");
  EXPECT_EQ(log.lines(), (lines{"one", "", "two", "three"}));
}

TEST(captured_log, keeps_bytes_behind_the_last_newline) {
  captured_log log;
  std::cerr << "a\nb";
  EXPECT_EQ(log.text(), "a\nb");
  EXPECT_EQ(log.lines(), (lines{"a", "b"}));
}

TEST(captured_log, keeps_only_what_passes_its_threshold) {
  captured_log log(level_warning);
  say(level_info, "progress");
  say(level_warning, "trouble");
  EXPECT_EQ(log.lines(), lines{"trouble"});
}

TEST(captured_log, catches_records_that_would_go_to_the_system_log) {
  LOG_OUTPUT = 1;
  {
    captured_log log;
    say(level_error, "seen");
    EXPECT_EQ(log.lines(), lines{"seen"});
  }
  EXPECT_EQ(LOG_OUTPUT, 1);
  LOG_OUTPUT = 0;
}

TEST(captured_log, restores_what_it_found_even_when_nested) {
  std::streambuf* const standard_error = std::cerr.rdbuf();
  LOG_LEVEL = level_critical;
  {
    captured_log outer;
    {
      captured_log inner(level_alert);
      say(level_alert, "inner");
    }
    EXPECT_EQ(LOG_LEVEL, level_debug);
    EXPECT_EQ(outer.lines(), lines{});
  }
  EXPECT_EQ(std::cerr.rdbuf(), standard_error);
  EXPECT_EQ(LOG_LEVEL, level_critical);
  LOG_LEVEL = level_warning;
}

}  // namespace
}  // namespace zelk::log
