#include "src/check/command/terminal.h"

#include <sys/ioctl.h>
#include <unistd.h>

#include <cstdlib>
#include <string>
#include <string_view>

#include "src/common/str/str.h"

namespace zelk::check {

namespace {

std::string_view variable(const char* name) {
  const char* value = std::getenv(name);
  return value == nullptr ? "" : value;
}

winsize terminal_size() {
  winsize size = {};
  if (!on_terminal() || ::ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) != 0)
    return {};
  return size;
}

}  // namespace

bool on_terminal() {
  return ::isatty(STDOUT_FILENO) == 1;
}

std::size_t terminal_width() {
  return terminal_size().ws_col;
}

std::size_t terminal_height() {
  return terminal_size().ws_row;
}

bool wants_colour(color_use asked, bool terminal) {
  if (asked != color_use::automatic) return asked == color_use::always;
  if (!variable("NO_COLOR").empty()) return false;
  const std::string_view force = variable("CLICOLOR_FORCE");
  if (!force.empty() && force != "0") return true;
  if (variable("CLICOLOR") == "0") return false;
  return terminal && variable("TERM") != "dumb";
}

bool locale_is_utf8() {
  for (const char* name : {"LC_ALL", "LC_CTYPE", "LANG"}) {
    const std::string value = str::upper(variable(name));
    if (value.empty()) continue;
    return value.find("UTF-8") != value.npos ||
           value.find("UTF8") != value.npos;
  }
  return false;
}

}  // namespace zelk::check
