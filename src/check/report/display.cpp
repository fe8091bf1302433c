#include "src/check/report/display.h"

#include <algorithm>
#include <array>
#include <iterator>

namespace zelk::check {

namespace {

struct code_range {
  std::uint32_t first, last;
};

// The scripts and pictures that take two columns: the blocks as a whole, since
// a column too many is no harm.
constexpr std::array<code_range, 12> wide = {{{0x1100, 0x115F},
                                              {0x2E80, 0x303E},
                                              {0x3041, 0xA4CF},
                                              {0xA960, 0xA97F},
                                              {0xAC00, 0xD7A3},
                                              {0xF900, 0xFAFF},
                                              {0xFE30, 0xFE6F},
                                              {0xFF01, 0xFF60},
                                              {0xFFE0, 0xFFE6},
                                              {0x1F300, 0x1F64F},
                                              {0x1F900, 0x1F9FF},
                                              {0x20000, 0x3FFFD}}};

constexpr std::array<code_range, 8> combining = {{{0x0300, 0x036F},
                                                  {0x0483, 0x0489},
                                                  {0x0591, 0x05BD},
                                                  {0x064B, 0x065F},
                                                  {0x1AB0, 0x1AFF},
                                                  {0x1DC0, 0x1DFF},
                                                  {0x20D0, 0x20FF},
                                                  {0xFE00, 0xFE0F}}};

template <std::size_t n>
bool holds(const std::array<code_range, n>& ranges, std::uint32_t code) {
  return std::any_of(ranges.begin(), ranges.end(), [code](code_range each) {
    return code >= each.first && code <= each.last;
  });
}

std::size_t width_of(std::uint32_t code) {
  if (code < 0x300) return 1;
  if (holds(combining, code)) return 0;
  return holds(wide, code) ? 2 : 1;
}

// Takes the first character off `text`. Requires: UTF-8, not empty.
std::uint32_t next_code(std::string_view& text) {
  const auto first = static_cast<unsigned char>(text.front());
  const std::size_t length = first < 0x80   ? 1
                             : first < 0xE0 ? 2
                             : first < 0xF0 ? 3
                                            : 4;
  std::uint32_t code = length == 1 ? first : first & (0x7FU >> length);
  for (std::size_t i = 1; i < std::min(length, text.size()); ++i)
    code = code << 6U | (static_cast<unsigned char>(text[i]) & 0x3FU);
  text.remove_prefix(std::min(length, text.size()));
  return code;
}

// The bytes of `text` that fit into `width` columns; at least one character.
std::size_t bytes_that_fit(std::string_view text, std::size_t width) {
  std::string_view rest = text;
  std::size_t columns = 0, fit = 0;
  while (!rest.empty()) {
    columns += width_of(next_code(rest));
    if (columns > width && fit > 0) break;
    fit = text.size() - rest.size();
    if (columns > width) break;
  }
  return fit;
}

// Where to part `text`, of which `fit` bytes go into a line: behind the last
// blank or else comma that leaves the line half full.
std::size_t place_to_part(std::string_view text, std::size_t fit) {
  if (fit == text.size()) return fit;
  const std::string_view line = text.substr(0, fit + 1);
  const std::size_t blank = line.rfind(' ');
  if (blank != std::string_view::npos && blank >= fit / 2) return blank;
  const std::size_t comma = text.substr(0, fit).rfind(',');
  return comma != std::string_view::npos && comma >= fit / 2 ? comma + 1 : fit;
}

const char* escape_of(ink which) {
  switch (which) {
    case ink::plain:
      return "";
    case ink::strong:
      return "\033[1m";
    case ink::good:
      return "\033[32m";
    case ink::note:
      return "\033[36m";
    case ink::warn:
      return "\033[33m";
    case ink::bad:
      return "\033[1;31m";
    case ink::faint:
      return "\033[2m";
  }
  return "";
}

}  // namespace

std::size_t display_width(std::string_view visible) {
  std::size_t columns = 0;
  while (!visible.empty())
    columns += width_of(next_code(visible));
  return columns;
}

std::string padded(std::string visible, std::size_t width) {
  const std::size_t columns = display_width(visible);
  if (columns < width) visible.append(width - columns, ' ');
  return visible;
}

std::vector<std::string> wrapped(std::string_view visible, std::size_t width) {
  if (width == 0) return {std::string(visible)};
  std::vector<std::string> lines;
  do {
    const std::size_t end =
        place_to_part(visible, bytes_that_fit(visible, width));
    lines.emplace_back(visible.substr(0, end));
    visible.remove_prefix(end);
    while (visible.starts_with(' '))
      visible.remove_prefix(1);
  } while (!visible.empty());
  return lines;
}

std::string look::painted(ink which, const std::string& text) const {
  if (!colour || which == ink::plain || text.empty()) return text;
  return escape_of(which) + text + "\033[0m";
}

const char* look::mark(severity level) const {
  switch (level) {
    case severity::critical:
      return utf8 ? "\u2716" : "X";
    case severity::warning:
      return utf8 ? "\u25b2" : "!";
    case severity::informational:
      return utf8 ? "\u25cf" : "i";
  }
  return "?";
}

ink ink_of(severity level) {
  switch (level) {
    case severity::critical:
      return ink::bad;
    case severity::warning:
      return ink::warn;
    case severity::informational:
      return ink::note;
  }
  return ink::plain;
}

ink ink_of(verdict what) {
  switch (what) {
    case verdict::healthy:
      return ink::good;
    case verdict::suspect:
      return ink::warn;
    case verdict::unhealthy:
      return ink::bad;
    case verdict::unknown:
      return ink::strong;
  }
  return ink::plain;
}

}  // namespace zelk::check
