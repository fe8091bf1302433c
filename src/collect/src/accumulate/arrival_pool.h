// A record on its way into the store, and where such records lie.
//
// They are made by the thread that receives and done with by the one that
// stores. Memory that one thread takes and another gives back is what a general
// allocator is slowest at: the two wait for each other's lock. So places go
// back to where they came from, many at once.

#pragma once

#include <cstddef>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "src/collect/src/provider/result.h"

namespace zelk::accumulate {

// A record from its first byte to its place in the store.
struct arrival {
  provider_result record;
  std::size_t charge = 0;  // bytes of the memory budget that it holds
  std::shared_ptr<const std::string> peer;
};

// What a record costs besides its blocks: its fixed part and what the allocator
// adds to four pieces of memory.
constexpr std::size_t record_overhead = sizeof(arrival) + 128;
// What a block takes that is not empty, however short: see util::byte_buffer.
constexpr std::size_t least_block = 4096;

class arrival_pool {
 public:
  // Places that are kept: some 9 MB with the two blocks of each.
  static constexpr std::size_t most_spare = 1000;

  // Returns an empty record; its blocks may have storage. Requires: always the
  // same thread.
  std::unique_ptr<arrival> take();
  // Leaves `some` empty. From another thread. Blocks that have grown are freed.
  void give_back(std::vector<std::unique_ptr<arrival>>& some);

 private:
  std::vector<std::unique_ptr<arrival>> spare_;  // of the thread that takes
  std::mutex lock_;
  std::vector<std::unique_ptr<arrival>> returned_;
};

}  // namespace zelk::accumulate
