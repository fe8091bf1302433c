#include "src/collect/src/reading/base64.h"

#include <cstdint>

namespace zelk::reading {

namespace {

constexpr std::string_view alphabet =
    "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";

constexpr std::uint32_t byte_mask = 0xFF;
constexpr std::uint32_t digit_mask = 0x3F;  // six bits

bool is_space(char c) {
  return c == ' ' || (c >= '\t' && c <= '\r');
}

// -1 for what is no digit.
int value_of(char c) {
  if (c >= 'A' && c <= 'Z') return c - 'A';
  if (c >= 'a' && c <= 'z') return c - 'a' + 26;
  if (c >= '0' && c <= '9') return c - '0' + 52;
  if (c == '+') return 62;
  return c == '/' ? 63 : -1;
}

base64_bytes problem_at(std::size_t offset, const char* what) {
  return {"", "byte " + std::to_string(offset) + " is " + what};
}

}  // namespace

std::string base64_of(std::string_view bytes) {
  std::string text;
  text.reserve((bytes.size() + 2) / 3 * 4);
  for (std::size_t i = 0; i < bytes.size(); i += 3) {
    std::uint32_t group = 0;
    for (std::size_t j = 0; j < 3; ++j)
      group = group << 8U |
              (i + j < bytes.size() ? static_cast<unsigned char>(bytes[i + j])
                                    : 0U);
    for (std::size_t j = 0; j < 4; ++j)
      text += i + j > bytes.size()
                  ? '='
                  : alphabet[group >> (18 - 6 * j) & digit_mask];
  }
  return text;
}

base64_bytes bytes_of_base64(std::string_view text) {
  base64_bytes result;
  std::uint32_t group = 0;
  unsigned bits = 0;
  std::size_t digits = 0;
  std::size_t padding = 0;
  for (std::size_t i = 0; i < text.size(); ++i) {
    if (is_space(text[i])) continue;
    if (text[i] == '=' && ++padding <= 2) continue;
    const int value = value_of(text[i]);
    if (value < 0) return problem_at(i, "not base64");
    if (padding > 0) return problem_at(i, "behind the end of the base64 text");
    group = group << 6U | static_cast<std::uint32_t>(value);
    ++digits;
    bits += 6;
    if (bits < 8) continue;
    bits -= 8;
    result.bytes += static_cast<char>(group >> bits & byte_mask);
  }
  if (digits % 4 == 1 || (padding > 0 && (digits + padding) % 4 != 0))
    return problem_at(text.size(), "missing: the base64 text is cut off");
  return result;
}

}  // namespace zelk::reading
