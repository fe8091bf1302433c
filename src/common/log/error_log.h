// A scoped diagnostic record: built, streamed into, emitted when it ends.
//
//   ErrorLog(source, __func__, __LINE__, level_error).stream() << "No " << x;
//
// The line that appears is the message and a newline: no location, no level
// word, no time. Emitting never fails and is never retried. One thread only.

#pragma once

#include <sstream>

#include "src/common/log/settings.h"

namespace zelk::log {

class ErrorLog {
 public:
  // `file` is the source file relative to the source tree, without extension.
  // Location is accepted and not kept: what a user reads is the message alone.
  ErrorLog(const char* file, const char* function, unsigned int line,
           int level);
  // Emits the record when its level is at most LOG_LEVEL: to standard error
  // when LOG_OUTPUT is 0, to the system log otherwise.
  ~ErrorLog();

  ErrorLog(const ErrorLog&) = delete;
  ErrorLog& operator=(const ErrorLog&) = delete;

  std::iostream& stream() { return buffer_; }

 private:
  std::stringstream buffer_;
  int level_;
};

}  // namespace zelk::log
