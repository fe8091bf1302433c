#include "src/common/facts/output_text.h"

#include <cstdint>
#include <cstring>

namespace zelk::facts {

namespace {

constexpr std::string_view replacement = "\xef\xbf\xbd";

std::uint8_t byte_at(std::string_view text, std::size_t at) {
  return static_cast<std::uint8_t>(text[at]);
}

// What may follow a leading byte: so many bytes, the first of them in a range
// that rules out overlong forms, surrogates and what lies above U+10FFFF.
struct sequence {
  std::size_t bytes;  // with the leading one; 0: it leads nothing
  std::uint8_t low;
  std::uint8_t high;
};

sequence sequence_of(std::uint8_t lead) {
  if (lead < 0x80) return {1, 0, 0};
  if (lead < 0xC2 || lead > 0xF4) return {0, 0, 0};
  if (lead < 0xE0) return {2, 0x80, 0xBF};
  if (lead == 0xE0) return {3, 0xA0, 0xBF};
  if (lead == 0xED) return {3, 0x80, 0x9F};
  if (lead < 0xF0) return {3, 0x80, 0xBF};
  if (lead == 0xF0) return {4, 0x90, 0xBF};
  return {4, 0x80, lead == 0xF4 ? std::uint8_t{0x8F} : std::uint8_t{0xBF}};
}

// Returns the bytes of the character at `at`, or 0 when there is none.
std::size_t character_at(std::string_view text, std::size_t at) {
  const sequence wanted = sequence_of(byte_at(text, at));
  if (wanted.bytes < 2) return wanted.bytes;
  if (wanted.bytes > text.size() - at) return 0;
  const std::uint8_t second = byte_at(text, at + 1);
  if (second < wanted.low || second > wanted.high) return 0;
  for (std::size_t i = 2; i < wanted.bytes; ++i)
    if ((byte_at(text, at + i) & 0xC0) != 0x80) return 0;
  return wanted.bytes;
}

// Returns where the first byte that is not ASCII lies.
std::size_t ascii_part(std::string_view text) {
  constexpr std::uint64_t high_bits = 0x8080808080808080U;
  std::size_t at = 0;
  for (; at + sizeof(std::uint64_t) <= text.size();
       at += sizeof(std::uint64_t)) {
    std::uint64_t word = 0;
    std::memcpy(&word, text.data() + at, sizeof word);
    if ((word & high_bits) != 0) break;
  }
  while (at < text.size() && byte_at(text, at) < 0x80)
    ++at;
  return at;
}

// Returns where the first byte that belongs to no character lies.
std::size_t valid_part(std::string_view text) {
  std::size_t at = ascii_part(text);
  while (at < text.size()) {
    const std::size_t bytes = character_at(text, at);
    if (bytes == 0) break;
    at += bytes;
  }
  return at;
}

}  // namespace

bool is_utf8(std::string_view text) {
  return valid_part(text) == text.size();
}

std::string_view repaired(std::string_view text, std::string& buffer) {
  std::size_t valid = valid_part(text);
  if (valid == text.size()) return text;
  buffer.clear();
  while (true) {
    buffer += text.substr(0, valid);
    if (valid == text.size()) return buffer;
    buffer += replacement;
    text.remove_prefix(valid + 1);
    valid = valid_part(text);
  }
}

line_reader::line_reader(std::string_view output)
    : rest_(output.substr(0, longest_output)),
      cut_(output.size() > longest_output) {}

bool line_reader::next(std::string_view& line) {
  while (!rest_.empty()) {
    const std::size_t end = std::min(rest_.find('\n'), rest_.size());
    line = rest_.substr(0, end);
    rest_.remove_prefix(std::min(end + 1, rest_.size()));
    if (line.ends_with('\r')) line.remove_suffix(1);
    if (line.size() > longest_line) {
      ++passed_over_;
      continue;
    }
    line = repaired(line, buffer_);
    return true;
  }
  return false;
}

}  // namespace zelk::facts
