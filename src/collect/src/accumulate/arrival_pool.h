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
  // Of each kind that are kept: 5 MB in all.
  static constexpr std::size_t most_spare = 1000;

  // These two: always from the same thread.
  //
  // Returns an empty record without storage.
  std::unique_ptr<arrival> take();
  // Gives `block`, which is empty, storage for least_block bytes if there is
  // some. Only when it was charged: a spare one is charged to nobody.
  void take_storage(util::byte_buffer& block);

  // Leaves `some` empty. From another thread.
  void give_back(std::vector<std::unique_ptr<arrival>>& some);

 private:
  struct spares {
    std::vector<std::unique_ptr<arrival>> places;
    std::vector<util::byte_buffer> blocks;
  };

  spares at_hand_;  // of the thread that takes
  std::mutex lock_;
  spares returned_;
};

}  // namespace zelk::accumulate
