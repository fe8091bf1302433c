#include "src/collect/src/accumulate/meter.h"

#include <sys/ioctl.h>
#include <unistd.h>

#include <cstdlib>
#include <cstring>
#include <iostream>

namespace zelk::accumulate {

namespace {

constexpr std::chrono::milliseconds between_lines{200};
constexpr char erase_line[] = "\r\033[K";

bool wants_meter(progress_style style) {
  if (style == progress_style::bar) return true;
  const char* terminal = std::getenv("TERM");
  const bool dumb = terminal == nullptr || std::strcmp(terminal, "dumb") == 0;
  return style == progress_style::automatic && !dumb &&
         ::isatty(STDERR_FILENO) == 1;
}

// A line that is wider wraps and cannot be erased.
std::size_t terminal_width() {
  winsize size = {};
  if (::ioctl(STDERR_FILENO, TIOCGWINSZ, &size) == 0 && size.ws_col > 1)
    return size.ws_col - 1U;
  return 79;
}

}  // namespace

meter::meter(progress_style style) : shown_(wants_meter(style)) {
  if (shown_) standard_error_ = std::cerr.rdbuf(this);
}

meter::~meter() {
  if (!shown_) return;
  clear();
  std::cerr.rdbuf(standard_error_);
}

void meter::show(const std::string& text) {
  const auto now = std::chrono::steady_clock::now();
  const std::lock_guard guard(lock_);
  if (!shown_ || now - shown_at_ < between_lines) return;
  shown_at_ = now;
  const std::string line = erase_line + text.substr(0, terminal_width());
  standard_error_->sputn(line.data(),
                         static_cast<std::streamsize>(line.size()));
  standard_error_->pubsync();
  visible_ = true;
}

void meter::clear() {
  const std::lock_guard guard(lock_);
  if (!visible_) return;
  standard_error_->sputn(erase_line, sizeof erase_line - 1);
  standard_error_->pubsync();
  visible_ = false;
}

std::streamsize meter::xsputn(const char* text, std::streamsize size) {
  clear();
  const std::lock_guard guard(lock_);
  return standard_error_->sputn(text, size);
}

int meter::overflow(int character) {
  if (character == traits_type::eof()) return traits_type::not_eof(character);
  const char one = traits_type::to_char_type(character);
  return xsputn(&one, 1) == 1 ? character : traits_type::eof();
}

int meter::sync() {
  const std::lock_guard guard(lock_);
  return standard_error_->pubsync();
}

}  // namespace zelk::accumulate
