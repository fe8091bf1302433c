#include "src/common/text/utf8.h"

#include <cstddef>
#include <cstdint>
#include <cstring>

namespace zelk::text {

namespace {

constexpr std::uint64_t high_bits = 0x8080808080808080ULL;
constexpr std::uint64_t ones = 0x0101010101010101ULL;

// Whether all eight bytes are between 1 and 127. With no high bit set, taking
// one from each byte sets a high bit exactly where (or above where) one is
// zero.
bool plain(std::uint64_t eight) {
  return ((eight | (eight - ones)) & high_bits) == 0;
}

std::size_t plain_prefix(std::string_view bytes) {
  std::size_t length = 0;
  std::uint64_t eight = 0;
  while (bytes.size() - length >= sizeof eight) {
    std::memcpy(&eight, bytes.data() + length, sizeof eight);
    if (!plain(eight)) break;
    length += sizeof eight;
  }
  return length;
}

// What may follow a lead byte: how many continuation bytes, and the range of
// the first of them, which is narrower where a longer form than needed, a
// surrogate or a value over U+10FFFF would begin.
struct sequence_form {
  std::size_t length;  // 0: no sequence begins like this
  unsigned char lowest = 0x80;
  unsigned char highest = 0xBF;
};

sequence_form form_of(unsigned char lead) {
  if (lead == 0) return {0};
  if (lead < 0x80) return {1};
  if (lead < 0xC2) return {0};
  if (lead < 0xE0) return {2};
  if (lead == 0xE0) return {3, 0xA0, 0xBF};
  if (lead == 0xED) return {3, 0x80, 0x9F};
  if (lead < 0xF0) return {3};
  if (lead == 0xF0) return {4, 0x90, 0xBF};
  if (lead < 0xF4) return {4};
  if (lead == 0xF4) return {4, 0x80, 0x8F};
  return {0};
}

// Returns the length of the sequence at the head of `bytes`; 0 when it is none.
std::size_t sequence_length(std::string_view bytes) {
  const sequence_form form = form_of(static_cast<unsigned char>(bytes[0]));
  if (form.length < 2) return form.length;
  if (bytes.size() < form.length) return 0;
  const auto second = static_cast<unsigned char>(bytes[1]);
  if (second < form.lowest || second > form.highest) return 0;
  for (std::size_t i = 2; i < form.length; ++i)
    if ((static_cast<unsigned char>(bytes[i]) & 0xC0) != 0x80) return 0;
  return form.length;
}

}  // namespace

bool is_text(std::string_view bytes) {
  for (;;) {
    bytes.remove_prefix(plain_prefix(bytes));
    // The next bytes hold something else, or are fewer than eight.
    for (int i = 0; i < 8 && !bytes.empty(); ++i) {
      const std::size_t length = sequence_length(bytes);
      if (length == 0) return false;
      bytes.remove_prefix(length);
    }
    if (bytes.empty()) return true;
  }
}

}  // namespace zelk::text
