#include "src/common/log/captured_log.h"

#include <cstddef>
#include <iostream>

namespace zelk::log {

captured_log::captured_log(int threshold)
    : standard_error_(std::cerr.rdbuf(&buffer_)),
      level_(LOG_LEVEL),
      output_(LOG_OUTPUT) {
  LOG_LEVEL = threshold;
  LOG_OUTPUT = 0;
}

captured_log::~captured_log() {
  std::cerr.rdbuf(standard_error_);
  LOG_LEVEL = level_;
  LOG_OUTPUT = output_;
}

std::vector<std::string> captured_log::lines() const {
  const std::string text = buffer_.str();
  std::vector<std::string> lines;
  for (std::size_t start = 0; start < text.size();) {
    const std::size_t end = text.find('\n', start);
    lines.push_back(text.substr(start, end - start));
    if (end == std::string::npos) break;
    start = end + 1;
  }
  return lines;
}

}  // namespace zelk::log
