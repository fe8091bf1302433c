#include "src/check/report/ascii_text.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <utility>

#include "src/check/report/display.h"

namespace zelk::check {

namespace {

constexpr std::array<std::pair<std::string_view, std::string_view>, 16> usual =
    {{{"\u00b0", ""},
      {"\u00b1", "+-"},
      {"\u00b2", "2"},
      {"\u00b3", "3"},
      {"\u00b5", "u"},
      {"\u03bc", "u"},
      {"\u03a9", "Ohm"},
      {"\u00d7", "x"},
      {"\u2026", "..."},
      {"\u2013", "-"},
      {"\u2014", "-"},
      {"\u2018", "'"},
      {"\u2019", "'"},
      {"\u2192", "->"},
      {"\u2264", "<="},
      {"\u2265", ">="}}};

std::string_view first_character(std::string_view text) {
  const auto first = static_cast<unsigned char>(text.front());
  const std::size_t length = first < 0xC0   ? 1
                             : first < 0xE0 ? 2
                             : first < 0xF0 ? 3
                                            : 4;
  return text.substr(0, length);
}

// Requires: `character` is in UTF-8 and not ASCII.
std::string written_out(std::string_view character) {
  for (const auto& [known, plain] : usual)
    if (known == character) return std::string(plain);
  std::uint32_t code =
      static_cast<unsigned char>(character[0]) & (0x7FU >> character.size());
  for (const char c : character.substr(1))
    code = code << 6U | (static_cast<unsigned char>(c) & 0x3FU);
  return fmt::format("\\u{:04x}", code);
}

class line_writer {
 public:
  void add(std::string_view text) {
    while (!text.empty()) {
      const std::size_t blanks =
          std::min(text.find_first_not_of(' '), text.size());
      if (blanks > 0) {
        add_blanks(blanks);
        text.remove_prefix(blanks);
        continue;
      }
      const std::string_view character = first_character(text);
      text.remove_prefix(character.size());
      add_character(character);
    }
  }

  std::string take() { return std::move(result_); }

 private:
  void add_character(std::string_view character) {
    if (character.front() == '\n') too_long_ = 0;
    if (static_cast<unsigned char>(character.front()) < 0x80) {
      result_ += character;
      return;
    }
    const std::string plain = written_out(character);
    too_long_ += static_cast<std::ptrdiff_t>(plain.size()) -
                 static_cast<std::ptrdiff_t>(display_width(character));
    result_ += plain;
  }

  // One blank parts words; several part columns, and two of them must stay.
  void add_blanks(std::size_t count) {
    auto blanks = static_cast<std::ptrdiff_t>(count);
    if (count > 1) {
      const std::ptrdiff_t given = std::min(too_long_, blanks - 2);
      blanks -= given;
      too_long_ -= given;
    }
    result_.append(static_cast<std::size_t>(blanks), ' ');
  }

  std::string result_;
  std::ptrdiff_t too_long_ = 0;  // columns, of the line so far
};

}  // namespace

std::string ascii_text(std::string_view text) {
  const bool is_ascii = std::all_of(text.begin(), text.end(), [](char c) {
    return static_cast<unsigned char>(c) < 0x80;
  });
  if (is_ascii) return std::string(text);
  line_writer writer;
  writer.add(text);
  return writer.take();
}

}  // namespace zelk::check
