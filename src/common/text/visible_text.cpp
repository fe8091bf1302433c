#include "src/common/text/visible_text.h"

#include <fmt/format.h>

#include <algorithm>
#include <cstdint>

#include "src/common/text/utf8.h"

namespace zelk::text {

namespace {

std::size_t length_of_character(char first) {
  const auto byte = static_cast<unsigned char>(first);
  if (byte < 0xC0) return 1;
  if (byte < 0xE0) return 2;
  return byte < 0xF0 ? 3 : 4;
}

// Requires: `bytes` is one character in UTF-8.
std::uint32_t code_point(std::string_view bytes) {
  const auto first = static_cast<unsigned char>(bytes[0]);
  if (bytes.size() == 1) return first;
  std::uint32_t code = first & (0x7FU >> bytes.size());
  for (const char c : bytes.substr(1))
    code = code << 6U | (static_cast<unsigned char>(c) & 0x3FU);
  return code;
}

// Marks without a shape that change the direction of what follows, or end a
// line, or hide.
bool is_invisible(std::uint32_t code) {
  return (code >= 0x200B && code <= 0x200F) ||
         (code >= 0x2028 && code <= 0x202E) ||
         (code >= 0x2060 && code <= 0x206F) || code == 0xFEFF ||
         (code >= 0xE0000 && code <= 0xE007F);
}

std::string written_out(std::uint32_t code) {
  switch (code) {
    case '\n':
      return "\\n";
    case '\t':
      return "\\t";
    case '\r':
      return "\\r";
    default:
      break;
  }
  if (code < 0x20 || (code >= 0x7F && code < 0xA0))
    return fmt::format("\\x{:02x}", code);
  if (is_invisible(code)) return fmt::format("\\u{:04x}", code);
  return "";
}

// Takes the first character off `text`; a byte that is part of none alone.
std::string next_visible(std::string_view& text) {
  const std::string_view bytes =
      text.substr(0, length_of_character(text.front()));
  const bool zero = bytes == std::string_view("\0", 1);
  if (!zero && !text::is_text(bytes)) {
    const auto byte = static_cast<unsigned char>(text.front());
    text.remove_prefix(1);
    return fmt::format("\\x{:02x}", byte);
  }
  text.remove_prefix(bytes.size());
  const std::string out = written_out(code_point(bytes));
  return out.empty() ? std::string(bytes) : out;
}

}  // namespace

std::string visible_text(std::string_view text) {
  std::string result;
  result.reserve(text.size());
  while (!text.empty())
    result += next_visible(text);
  return result;
}

std::size_t columns_of_text(std::string_view visible) {
  return static_cast<std::size_t>(std::count_if(
      visible.begin(), visible.end(),
      [](char c) { return (static_cast<unsigned char>(c) & 0xC0U) != 0x80U; }));
}

}  // namespace zelk::text
