#include "src/common/log/error_log.h"

#include <fcntl.h>
#include <unistd.h>

#include <cstdarg>
#include <cstdio>
#include <iostream>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "src/common/log/captured_log.h"

namespace {

struct system_log_entry {
  int priority;
  std::string format;
  std::string text;
};

std::vector<system_log_entry> system_log;

void keep_entry(int priority, const char* format, va_list arguments) {
  char text[256];
  std::vsnprintf(text, sizeof text, format, arguments);
  system_log.push_back({priority, format, text});
}

}  // namespace

// The program's own definitions win over those of the C library. Which of the
// two the compiler calls depends on whether format checking is on.
extern "C" {
void syslog(int priority, const char* format, ...) {
  va_list arguments;
  va_start(arguments, format);
  keep_entry(priority, format, arguments);
  va_end(arguments);
}

// NOLINTNEXTLINE(bugprone-reserved-identifier): the platform's name
void __syslog_chk(int priority, int /*flag*/, const char* format, ...) {
  va_list arguments;
  va_start(arguments, format);
  keep_entry(priority, format, arguments);
  va_end(arguments);
}
}

namespace zelk::log {
namespace {

using lines = std::vector<std::string>;

void say(int level, const std::string& text) {
  ErrorLog("src/collect/src/utils", "main", 17, level).stream() << text;
}

// Sends file descriptor 2 into a pipe that keeps the bounds of every write, and
// back again at the end.
class standard_error_pipe {
 public:
  standard_error_pipe() : saved_(::dup(STDERR_FILENO)) {
    if (::pipe2(ends_, O_DIRECT | O_NONBLOCK) != 0)
      throw std::runtime_error("no pipe");
    ::dup2(ends_[1], STDERR_FILENO);
  }
  ~standard_error_pipe() {
    ::dup2(saved_, STDERR_FILENO);
    for (const int fd : {saved_, ends_[0], ends_[1]})
      ::close(fd);
  }
  standard_error_pipe(const standard_error_pipe&) = delete;
  standard_error_pipe& operator=(const standard_error_pipe&) = delete;

  // Returns the bytes of each write so far.
  lines writes() {
    lines found;
    char bytes[8192];
    for (ssize_t n; (n = ::read(ends_[0], bytes, sizeof bytes)) > 0;)
      found.emplace_back(bytes, static_cast<std::size_t>(n));
    return found;
  }

 private:
  int saved_;
  int ends_[2] = {-1, -1};
};

// Sends records to the system log for a scope.
struct system_log_scope {
  system_log_scope() {
    system_log.clear();
    LOG_OUTPUT = 1;
  }
  ~system_log_scope() { LOG_OUTPUT = 0; }
};

TEST(error_log, passes_its_threshold_and_nothing_below) {
  captured_log log(level_warning);
  say(level_warning, "shown");
  say(level_info, "hidden");
  EXPECT_EQ(log.lines(), lines{"shown"});
  LOG_LEVEL = level_debug;
  say(level_warning, "shown too");
  say(level_info, "shown now");
  EXPECT_EQ(log.lines(), (lines{"shown", "shown too", "shown now"}));
}

TEST(error_log, has_warning_as_its_first_threshold) {
  EXPECT_EQ(LOG_LEVEL, 4);
  EXPECT_EQ(LOG_OUTPUT, 0);
  EXPECT_EQ(LOG_SCOPE_LEVEL, 0);
}

TEST(error_log, shows_level_zero_at_every_threshold) {
  for (int threshold = 0; threshold <= 7; ++threshold) {
    captured_log log(threshold);
    say(0, "fire");
    EXPECT_EQ(log.lines(), lines{"fire"}) << threshold;
  }
}

TEST(error_log, decides_when_it_ends) {
  captured_log log(level_error);
  {
    ErrorLog record("src/x", "f", 1, level_info);
    record.stream() << "late";
    EXPECT_EQ(log.text(), "");
    LOG_LEVEL = level_info;
  }
  EXPECT_EQ(log.text(), "late\n");
}

TEST(error_log, writes_the_message_and_a_newline_alone) {
  standard_error_pipe pipe;
  say(level_error, "Unable to lock file");
  EXPECT_EQ(pipe.writes(), lines{"Unable to lock file\n"});
}

TEST(error_log, keeps_a_newline_that_the_message_has) {
  captured_log log;
  say(level_error, "Unable to acquire machine data using uname.\n");
  EXPECT_EQ(log.text(), "Unable to acquire machine data using uname.\n\n");
}

TEST(error_log, writes_an_empty_line_for_an_empty_message) {
  standard_error_pipe pipe;
  say(level_error, "");
  EXPECT_EQ(pipe.writes(), lines{"\n"});
}

// The summary of a result holds what a command printed, whatever that was.
TEST(error_log, writes_any_bytes_in_one_piece) {
  std::string bytes;
  for (int i = 0; i < 4000; ++i)
    bytes.push_back(static_cast<char>(i));
  standard_error_pipe pipe;
  say(level_error, bytes);
  EXPECT_EQ(pipe.writes(), lines{bytes + "\n"});
}

TEST(error_log, takes_a_message_by_pieces_and_hands_it_back) {
  captured_log log;
  ErrorLog record("src/x", "f", 1, level_error);
  record.stream() << "node" << 12 << ' ' << 1.5;
  std::string word;
  record.stream() >> word;
  EXPECT_EQ(word, "node12");
}

TEST(error_log, keeps_what_was_read_out_of_its_stream) {
  captured_log log;
  {
    ErrorLog record("src/x", "f", 1, level_error);
    record.stream() << "one two";
    std::string word;
    record.stream() >> word;
  }
  EXPECT_EQ(log.text(), "one two\n");
}

TEST(error_log, writes_while_an_error_ends_the_scope) {
  captured_log log;
  try {
    ErrorLog record("src/x", "f", 1, level_error);
    record.stream() << "before the end";
    throw std::runtime_error("end");
  } catch (const std::runtime_error&) {
    EXPECT_EQ(log.lines(), lines{"before the end"});
  }
}

TEST(error_log, writes_again_after_a_failed_write) {
  captured_log log;
  std::cerr.setstate(std::ios::badbit);
  say(level_error, "still here");
  EXPECT_EQ(log.lines(), lines{"still here"});
}

TEST(error_log, survives_a_closed_standard_error) {
  const int saved = ::dup(STDERR_FILENO);
  ::close(STDERR_FILENO);
  say(level_error, "to nobody");
  ::dup2(saved, STDERR_FILENO);
  ::close(saved);
  standard_error_pipe pipe;
  say(level_error, "to somebody");
  EXPECT_EQ(pipe.writes(), lines{"to somebody\n"});
}

TEST(error_log, hands_the_system_log_its_level_as_priority) {
  standard_error_pipe pipe;
  system_log_scope scope;
  LOG_LEVEL = level_debug;
  for (int level = 0; level <= 7; ++level) {
    system_log.clear();
    say(level, "100%s of it");
    ASSERT_EQ(system_log.size(), 1U) << level;
    EXPECT_EQ(system_log[0].priority, level);
    EXPECT_EQ(system_log[0].format, "%s\n");
    EXPECT_EQ(system_log[0].text, "100%s of it\n");
  }
  LOG_LEVEL = level_warning;
  EXPECT_EQ(pipe.writes(), lines{});
}

TEST(error_log, takes_any_output_but_zero_for_the_system_log) {
  system_log_scope scope;
  for (const int output : {-1, 1, 2, 99}) {
    LOG_OUTPUT = output;
    say(level_error, "x");
  }
  EXPECT_EQ(system_log.size(), 4U);
}

TEST(error_log, keeps_the_threshold_for_the_system_log) {
  system_log_scope scope;
  say(level_info, "hidden");
  EXPECT_TRUE(system_log.empty());
}

TEST(error_log, makes_an_empty_system_log_entry_of_an_empty_message) {
  system_log_scope scope;
  say(level_error, "");
  ASSERT_EQ(system_log.size(), 1U);
  EXPECT_EQ(system_log[0].text, "\n");
}

TEST(error_log, leaves_the_system_log_alone_when_output_is_zero) {
  system_log.clear();
  captured_log log;
  say(level_error, "x");
  EXPECT_TRUE(system_log.empty());
}

}  // namespace
}  // namespace zelk::log
