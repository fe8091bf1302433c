#include "src/check/page/word_marks.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>

namespace zelk::check::html {

namespace {

using words = std::vector<std::string_view>;

// Of what is left between the equal ends: the table of all pairs stays small.
constexpr std::size_t most_words = 600;

bool is_word_byte(char byte) {
  const auto code = static_cast<unsigned char>(byte);
  return (code >= '0' && code <= '9') || (code >= 'A' && code <= 'Z') ||
         (code >= 'a' && code <= 'z') || code == '.' || code == '_' ||
         code >= 0x80;
}

words words_of(std::string_view text) {
  words out;
  while (!text.empty()) {
    std::size_t length = 1;
    if (is_word_byte(text.front()))
      while (length < text.size() && is_word_byte(text[length]))
        ++length;
    out.push_back(text.substr(0, length));
    text.remove_prefix(length);
  }
  return out;
}

// Which words of `of` are in the longest common row of words with `other`.
std::vector<bool> common(const words& of, const words& other) {
  const std::size_t width = other.size() + 1;
  std::vector<std::uint16_t> length((of.size() + 1) * width);
  for (std::size_t i = of.size(); i-- > 0;)
    for (std::size_t j = other.size(); j-- > 0;)
      length[i * width + j] =
          of[i] == other[j]
              ? static_cast<std::uint16_t>(length[(i + 1) * width + j + 1] + 1)
              : std::max(length[(i + 1) * width + j],
                         length[i * width + j + 1]);
  std::vector<bool> out(of.size());
  std::size_t j = 0;
  for (std::size_t i = 0; i < of.size() && j < other.size();) {
    if (of[i] == other[j]) {
      out[i++] = true;
      ++j;
    } else if (length[(i + 1) * width + j] >= length[i * width + j + 1]) {
      ++i;
    } else {
      ++j;
    }
  }
  return out;
}

std::vector<marked_words> joined(const words& of,
                                 const std::vector<bool>& same) {
  std::vector<marked_words> out;
  for (std::size_t i = 0; i < of.size(); ++i) {
    if (!out.empty() && out.back().differs == !same[i])
      out.back().text = {out.back().text.data(),
                         out.back().text.size() + of[i].size()};
    else
      out.push_back({of[i], !same[i]});
  }
  return out;
}

}  // namespace

std::vector<marked_words> word_marks(std::string_view of,
                                     std::string_view other) {
  const words mine = words_of(of);
  const words theirs = words_of(other);
  const std::size_t least = std::min(mine.size(), theirs.size());
  std::size_t head = 0;
  while (head < least && mine[head] == theirs[head])
    ++head;
  std::size_t tail = 0;
  while (tail < least - head &&
         mine[mine.size() - 1 - tail] == theirs[theirs.size() - 1 - tail])
    ++tail;
  std::vector<bool> same(mine.size());
  std::fill_n(same.begin(), head, true);
  std::fill_n(same.rbegin(), tail, true);
  const words middle(mine.begin() + static_cast<std::ptrdiff_t>(head),
                     mine.end() - static_cast<std::ptrdiff_t>(tail));
  const words facing(theirs.begin() + static_cast<std::ptrdiff_t>(head),
                     theirs.end() - static_cast<std::ptrdiff_t>(tail));
  if (middle.size() <= most_words && facing.size() <= most_words) {
    const std::vector<bool> found = common(middle, facing);
    std::copy(found.begin(), found.end(),
              same.begin() + static_cast<std::ptrdiff_t>(head));
  }
  return joined(mine, same);
}

}  // namespace zelk::check::html
