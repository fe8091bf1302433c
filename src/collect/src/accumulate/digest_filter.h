// A set of digests that may say "perhaps": two bytes for each, whatever their
// number.
//
// Says whether a digest is certainly not in the set, with one look at memory.
// Of those that are not in it about one in a hundred gets a "perhaps"; more,
// when more were added than it was made for.

#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

namespace zelk::accumulate {

class digest_filter {
 public:
  // Empties it and makes room for `expected` digests, up to a limit.
  void reset(std::size_t expected);

  // Digests are told by prefix_of().
  void add(std::int64_t prefix);
  bool may_hold(std::int64_t prefix) const;

  // Whether more were added than there was room made for.
  bool crowded() const { return count_ > room_; }

 private:
  std::size_t word_of(std::int64_t prefix) const;

  std::vector<std::uint64_t> words_;  // a power of two
  std::size_t room_ = 0;
  std::size_t count_ = 0;
};

}  // namespace zelk::accumulate
