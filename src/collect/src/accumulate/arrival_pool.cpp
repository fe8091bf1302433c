#include "src/collect/src/accumulate/arrival_pool.h"

#include <utility>

namespace zelk::accumulate {

namespace {

void empty_block(util::byte_buffer& block) {
  block.clear();
  if (block.free_size() > least_block) block = {};
}

void empty_place(arrival& place) {
  place.record.header = {};
  empty_block(place.record.stdout);
  empty_block(place.record.stderr);
  place.record.nodes_csv.clear();
  if (place.record.nodes_csv.capacity() > least_block)
    place.record.nodes_csv.shrink_to_fit();
  place.charge = 0;
  place.peer.reset();
}

}  // namespace

std::unique_ptr<arrival> arrival_pool::take() {
  if (spare_.empty()) {
    const std::lock_guard guard(lock_);
    spare_.swap(returned_);
  }
  if (spare_.empty()) return std::make_unique<arrival>();
  std::unique_ptr<arrival> place = std::move(spare_.back());
  spare_.pop_back();
  return place;
}

void arrival_pool::give_back(std::vector<std::unique_ptr<arrival>>& some) {
  for (const std::unique_ptr<arrival>& place : some)
    empty_place(*place);
  {
    const std::lock_guard guard(lock_);
    while (!some.empty() && returned_.size() < most_spare) {
      returned_.push_back(std::move(some.back()));
      some.pop_back();
    }
  }
  some.clear();
}

}  // namespace zelk::accumulate
