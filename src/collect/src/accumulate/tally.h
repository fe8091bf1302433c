// What became of everything that came: the numbers that must add up.
//
// At any instant, under one lock:
//   received = stored + duplicates + kept_aside + unsaved + lost + pending
// A conflict is stored, and counted a second time as a conflict.

#pragma once

#include <cstdint>
#include <mutex>

namespace zelk::accumulate {

struct tally {
  std::uint64_t received = 0;       // whole records
  std::uint64_t stored = 0;         // on disk, new
  std::uint64_t duplicates = 0;     // on disk before
  std::uint64_t conflicts = 0;      // stored beside another one of the same key
  std::uint64_t kept_aside = 0;     // refused by the store
  std::uint64_t unsaved = 0;        // in files: the store could not take them
  std::uint64_t lost = 0;           // not even that was possible
  std::uint64_t pending = 0;        // received and not decided
  std::uint64_t pending_bytes = 0;  // of memory
  std::uint64_t stored_bytes = 0;

  bool adds_up() const {
    return received ==
           stored + duplicates + kept_aside + unsaved + lost + pending;
  }
  tally& operator+=(const tally& change);
};

// The one that threads share.
class tally_board {
 public:
  void add(const tally& change) {
    const std::lock_guard guard(lock_);
    sum_ += change;
  }
  tally now() const {
    const std::lock_guard guard(lock_);
    return sum_;
  }

 private:
  mutable std::mutex lock_;
  tally sum_;
};

// A decrease is the addition of a number that wraps around.
inline tally& tally::operator+=(const tally& change) {
  received += change.received;
  stored += change.stored;
  duplicates += change.duplicates;
  conflicts += change.conflicts;
  kept_aside += change.kept_aside;
  unsaved += change.unsaved;
  lost += change.lost;
  pending += change.pending;
  pending_bytes += change.pending_bytes;
  stored_bytes += change.stored_bytes;
  return *this;
}

}  // namespace zelk::accumulate
