#include "src/check/page/escape.h"

#include <array>
#include <cstddef>
#include <cstdint>

namespace zelk::check::html {

namespace {

struct character {
  char32_t code = 0;
  std::size_t length = 1;  // bytes
  bool valid = true;
};

constexpr char32_t replacement = 0xfffd;

// How many bytes a first byte announces; 0: it cannot be one.
std::size_t announced(unsigned char first) {
  if (first < 0x80) return 1;
  if (first >= 0xc2 && first <= 0xdf) return 2;
  if (first >= 0xe0 && first <= 0xef) return 3;
  if (first >= 0xf0 && first <= 0xf4) return 4;
  return 0;
}

// Shortest forms only, no surrogates, nothing above U+10FFFF.
bool is_proper(char32_t code, std::size_t length) {
  constexpr std::array<char32_t, 5> least = {0, 0, 0x80, 0x800, 0x10000};
  return code >= least[length] && code <= 0x10ffff &&
         (code < 0xd800 || code > 0xdfff);
}

character first_character(std::string_view text) {
  const auto first = static_cast<unsigned char>(text.front());
  const std::size_t length = announced(first);
  if (length == 1) return {first, 1, true};
  if (length == 0 || text.size() < length) return {replacement, 1, false};
  char32_t code = first & (0xffU >> (length + 1));
  for (const char next : text.substr(1, length - 1)) {
    const auto byte = static_cast<unsigned char>(next);
    if ((byte & 0xc0U) != 0x80) return {replacement, 1, false};
    code = code << 6 | (byte & 0x3fU);
  }
  if (!is_proper(code, length)) return {replacement, 1, false};
  return {code, length, true};
}

void append_utf8_of_bmp(std::string& out, std::uint32_t code) {
  out += static_cast<char>(0xe0U | code >> 12);
  out += static_cast<char>(0x80U | (code >> 6 & 0x3fU));
  out += static_cast<char>(0x80U | (code & 0x3fU));
}

// Characters that nobody sees and that change what is read: no width, marks of
// direction, line and paragraph separators, tags, and what is no character.
bool is_hidden(char32_t code) {
  return (code >= 0x80 && code <= 0x9f) || code == 0xad || code == 0x61c ||
         (code >= 0x200b && code <= 0x200f) ||
         (code >= 0x2028 && code <= 0x202e) ||
         (code >= 0x2060 && code <= 0x206f) || code == 0xfeff ||
         (code >= 0xfff0 && code <= 0xfffb) || (code & 0xfffeU) == 0xfffe ||
         (code >= 0xfdd0 && code <= 0xfdef) ||
         (code >= 0xe0000 && code <= 0xe0fff);
}

void append_hex(std::string& out, char32_t code, int digits) {
  for (int shift = 4 * (digits - 1); shift >= 0; shift -= 4)
    out += "0123456789abcdef"[code >> shift & 0xfU];
}

void append_code(std::string& out, char32_t code) {
  if (code <= 0xff) {
    out += "\\x";
    append_hex(out, code, 2);
  } else if (code <= 0xffff) {
    out += "\\u";
    append_hex(out, code, 4);
  } else {
    out += "\\U";
    append_hex(out, code, 8);
  }
}

// JSON writes what is above U+FFFF as two surrogates.
void append_json_escape(std::string& out, char32_t code) {
  if (code > 0xffff) {
    out += "\\u";
    append_hex(out, 0xd800 + ((code - 0x10000) >> 10), 4);
    code = 0xdc00 + ((code - 0x10000) & 0x3ff);
  }
  out += "\\u";
  append_hex(out, code, 4);
}

// Appends what is not plain ASCII and returns how many bytes it took.
std::size_t append_unusual(std::string& out, std::string_view text) {
  const character next = first_character(text);
  if (next.code < 0x20) {
    append_utf8_of_bmp(out, 0x2400 + static_cast<std::uint32_t>(next.code));
  } else if (next.code == 0x7f) {
    append_utf8_of_bmp(out, 0x2421);
  } else if (!next.valid) {
    append_utf8_of_bmp(out, replacement);
  } else if (is_hidden(next.code)) {
    append_code(out, next.code);
  } else {
    out += text.substr(0, next.length);
  }
  return next.length;
}

bool append_reference(std::string& out, char byte) {
  switch (byte) {
    case '&':
      out += "&amp;";
      return true;
    case '<':
      out += "&lt;";
      return true;
    case '>':
      out += "&gt;";
      return true;
    case '"':
      out += "&quot;";
      return true;
    case '\'':
      out += "&#39;";
      return true;
    default:
      return false;
  }
}

bool is_plain(char byte) {
  const auto code = static_cast<unsigned char>(byte);
  return code >= 0x20 && code < 0x7f;
}

// `blank` appends a line end or a tab.
template <typename Blank>
void append_escaped(std::string& out, std::string_view text, Blank blank) {
  out.reserve(out.size() + text.size());
  while (!text.empty()) {
    const char byte = text.front();
    std::size_t taken = 1;
    if (byte == '\n' || byte == '\t') {
      blank(byte);
    } else if (!append_reference(out, byte)) {
      if (is_plain(byte))
        out += byte;
      else
        taken = append_unusual(out, text);
    }
    text.remove_prefix(taken);
  }
}

}  // namespace

void append_text(std::string& out, std::string_view text) {
  append_escaped(out, text, [&](char byte) { out += byte; });
}

void append_attribute(std::string& out, std::string_view text) {
  append_escaped(out, text,
                 [&](char byte) { out += byte == '\n' ? "&#10;" : "&#9;"; });
}

void append_script_json(std::string& out, std::string_view json) {
  out.reserve(out.size() + json.size());
  while (!json.empty()) {
    const character next = first_character(json);
    if (next.code == '<' || next.code == '>' || next.code == '&' ||
        next.code == 0x7f || is_hidden(next.code))
      append_json_escape(out, next.code);
    else if (!next.valid)
      append_utf8_of_bmp(out, replacement);
    else
      out += json.substr(0, next.length);
    json.remove_prefix(next.length);
  }
}

}  // namespace zelk::check::html
