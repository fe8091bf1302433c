#include "src/collect/src/collect/terminal_line.h"

#include <sys/ioctl.h>
#include <unistd.h>

#include <cstdlib>
#include <iostream>
#include <string_view>

namespace zelk::collect {

namespace {

constexpr std::string_view erase_line = "\r\033[K";
constexpr std::size_t usual_width = 80;

bool wants_line(progress_style style) {
  if (style == progress_style::bar) return true;
  if (style != progress_style::automatic) return false;
  const char* const terminal = std::getenv("TERM");
  if (terminal == nullptr || std::string_view(terminal) == "dumb") return false;
  return ::isatty(STDERR_FILENO) == 1;
}

// A line that is wider wraps, and then cannot be erased.
std::size_t usable_width() {
  winsize size = {};
  const bool known =
      ::ioctl(STDERR_FILENO, TIOCGWINSZ, &size) == 0 && size.ws_col > 1;
  // Not a terminal, but asked for all the same: nothing wraps.
  if (!known && ::isatty(STDERR_FILENO) != 1) return std::string::npos;
  return (known ? size.ws_col : usual_width) - 1;
}

}  // namespace

terminal_line::terminal_line(progress_style style) {
  if (wants_line(style)) standard_error_ = std::cerr.rdbuf(this);
}

terminal_line::~terminal_line() {
  if (!shown()) return;
  clear();
  std::cerr.rdbuf(standard_error_);
}

void terminal_line::show(const std::string& text) {
  if (!shown()) return;
  const std::string line =
      std::string(erase_line) + text.substr(0, usable_width());
  standard_error_->sputn(line.data(),
                         static_cast<std::streamsize>(line.size()));
  standard_error_->pubsync();
  visible_ = true;
}

void terminal_line::clear() {
  if (!visible_) return;
  standard_error_->sputn(erase_line.data(),
                         static_cast<std::streamsize>(erase_line.size()));
  standard_error_->pubsync();
  visible_ = false;
}

std::streamsize terminal_line::xsputn(const char* text, std::streamsize size) {
  clear();
  return standard_error_->sputn(text, size);
}

int terminal_line::overflow(int character) {
  if (character == traits_type::eof()) return traits_type::not_eof(character);
  const char one = traits_type::to_char_type(character);
  return xsputn(&one, 1) == 1 ? character : traits_type::eof();
}

int terminal_line::sync() {
  return standard_error_->pubsync();
}

}  // namespace zelk::collect
