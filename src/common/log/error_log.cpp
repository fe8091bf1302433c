#include "src/common/log/error_log.h"

#include <syslog.h>

#include <iostream>
#include <string>
#include <utility>

namespace zelk::log {
namespace {

// Text and newline go out in one piece, so that standard error, which has no
// buffer, gets one write and lines of several processes on one terminal or file
// do not mix. An earlier failure is forgotten: a full disk that has room again
// takes the next record.
void write_standard_error(std::string line) {
  line.push_back('\n');
  std::cerr.clear();
  std::cerr.write(line.data(), static_cast<std::streamsize>(line.size()));
  std::cerr.flush();
}

}  // namespace

ErrorLog::ErrorLog(const char* /*file*/, const char* /*function*/,
                   unsigned int /*line*/, int level)
    : level_(level) {}

ErrorLog::~ErrorLog() {
  if (level_ > LOG_LEVEL) return;
  try {
    if (LOG_OUTPUT == 0)
      write_standard_error(std::move(buffer_).str());
    else
      ::syslog(level_, "%s\n", buffer_.str().c_str());
  } catch (...) {  // NOLINT(bugprone-empty-catch): there is nowhere to say it
  }
}

}  // namespace zelk::log
