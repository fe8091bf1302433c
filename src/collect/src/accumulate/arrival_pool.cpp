#include "src/collect/src/accumulate/arrival_pool.h"

#include <utility>

namespace zelk::accumulate {

namespace {

// Of those that were returned; as many may be at hand.
constexpr std::size_t most_returned = arrival_pool::most_spare / 2;

// Adds the storage of `block` to `blocks` when it is one that all need.
void strip(util::byte_buffer& block, std::vector<util::byte_buffer>& blocks) {
  block.clear();
  if (block.free_size() == least_block) blocks.push_back(std::move(block));
  block = {};
}

template <typename Thing>
void move_some(std::vector<Thing>& from, std::vector<Thing>& to) {
  while (!from.empty() && to.size() < most_returned) {
    to.push_back(std::move(from.back()));
    from.pop_back();
  }
}

}  // namespace

std::unique_ptr<arrival> arrival_pool::take() {
  if (at_hand_.places.empty()) {
    const std::lock_guard guard(lock_);
    at_hand_.places.swap(returned_.places);
  }
  if (at_hand_.places.empty()) return std::make_unique<arrival>();
  std::unique_ptr<arrival> place = std::move(at_hand_.places.back());
  at_hand_.places.pop_back();
  return place;
}

void arrival_pool::take_storage(util::byte_buffer& block) {
  if (at_hand_.blocks.empty()) {
    const std::lock_guard guard(lock_);
    at_hand_.blocks.swap(returned_.blocks);
  }
  if (at_hand_.blocks.empty()) return;
  block = std::move(at_hand_.blocks.back());
  at_hand_.blocks.pop_back();
}

void arrival_pool::give_back(std::vector<std::unique_ptr<arrival>>& some) {
  std::vector<util::byte_buffer> blocks;
  for (const std::unique_ptr<arrival>& place : some) {
    strip(place->record.stdout, blocks);
    strip(place->record.stderr, blocks);
    std::string().swap(place->record.nodes_csv);  // an assignment keeps it
    *place = arrival();
  }
  {
    const std::lock_guard guard(lock_);
    move_some(some, returned_.places);
    move_some(blocks, returned_.blocks);
  }
  some.clear();
}

}  // namespace zelk::accumulate
