// Test support: the log lines of a scope.
//
//   captured_log log;
//   EXPECT_FALSE(read_nodefile("/nowhere", count, names));
//   EXPECT_EQ(log.lines(), lines{});
//
// While it lives, what goes to std::cerr is kept instead of shown, records go
// to standard error, and LOG_LEVEL is `threshold`. Everything is as before when
// it ends. What a child process writes is not caught. Scopes may nest.

#pragma once

#include <sstream>
#include <streambuf>
#include <string>
#include <vector>

#include "src/common/log/settings.h"

namespace zelk::log {

class captured_log {
 public:
  explicit captured_log(int threshold = level_debug);
  ~captured_log();

  captured_log(const captured_log&) = delete;
  captured_log& operator=(const captured_log&) = delete;

  // Returns what was written so far, byte for byte.
  std::string text() const { return buffer_.str(); }
  // Returns it as lines without their newlines. A record of several lines is
  // several lines here; text behind the last newline is a line too.
  std::vector<std::string> lines() const;

 private:
  std::stringbuf buffer_;
  std::streambuf* standard_error_;
  int level_;
  int output_;
};

}  // namespace zelk::log
