#include "src/collect/src/accumulate/digest_filter.h"

#include <algorithm>
#include <bit>

namespace zelk::accumulate {

namespace {

constexpr std::size_t digests_per_word = 4;  // of 64 bits

// 32 MiB, for sixteen million distinct outputs; with more of them it says
// "perhaps" more often, and the datastore is asked as if there were no filter.
constexpr std::size_t most_words = std::size_t{1} << 22;

// Four bits of one word, by the low 24 bits of the prefix; the word is chosen
// by the high ones.
std::uint64_t bits_of(std::int64_t prefix) {
  const auto value = static_cast<std::uint64_t>(prefix);
  std::uint64_t bits = 0;
  for (int shift = 0; shift < 24; shift += 6)
    bits |= std::uint64_t{1} << (value >> shift & 63);
  return bits;
}

}  // namespace

void digest_filter::reset(std::size_t expected) {
  const std::size_t words =
      std::min(most_words, std::bit_ceil(expected / digests_per_word + 1));
  words_.assign(words, 0);
  room_ = words * digests_per_word;
  count_ = 0;
}

std::size_t digest_filter::word_of(std::int64_t prefix) const {
  return static_cast<std::uint64_t>(prefix) >> 32 & (words_.size() - 1);
}

void digest_filter::add(std::int64_t prefix) {
  words_[word_of(prefix)] |= bits_of(prefix);
  ++count_;
}

bool digest_filter::may_hold(std::int64_t prefix) const {
  const std::uint64_t bits = bits_of(prefix);
  return (words_[word_of(prefix)] & bits) == bits;
}

}  // namespace zelk::accumulate
