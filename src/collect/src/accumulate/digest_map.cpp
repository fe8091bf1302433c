#include "src/collect/src/accumulate/digest_map.h"

#include <algorithm>
#include <utility>

namespace zelk::accumulate {

namespace {

constexpr std::size_t first_slots = 1024;

}  // namespace

// The slot that holds `name`, or the one where it would be put. An erased entry
// keeps its slot, so that names behind it are still found.
digest_map::entry& digest_map::slot_of(const digest& name) {
  const std::size_t mask = slots_.size() - 1;
  std::size_t at = static_cast<std::size_t>(prefix_of(name)) & mask;
  while (slots_[at].id != never_used && slots_[at].name != name)
    at = (at + 1) & mask;
  return slots_[at];
}

void digest_map::announce(const digest& name) const {
  if (slots_.empty()) return;
  const std::size_t at =
      static_cast<std::size_t>(prefix_of(name)) & (slots_.size() - 1);
  __builtin_prefetch(&slots_[at]);
}

std::int64_t digest_map::find(const digest& name) const {
  if (slots_.empty()) return 0;
  const std::int64_t id = const_cast<digest_map*>(this)->slot_of(name).id;
  return id == never_used ? 0 : id;
}

void digest_map::add(const digest& name, std::int64_t id) {
  if (2 * (used_ + 1) > slots_.size()) grow();
  entry& slot = slot_of(name);
  if (slot.id == never_used) ++used_;
  slot = {name, id};
  ++size_;
}

void digest_map::erase(const digest& name) {
  if (slots_.empty()) return;
  entry& slot = slot_of(name);
  if (slot.id <= 0) return;
  slot.id = 0;
  --size_;
}

void digest_map::clear() {
  slots_.clear();
  size_ = used_ = 0;
}

// To twice the slots, or to as many again when half of the entries are erased.
void digest_map::grow() {
  const bool crowded = 4 * size_ >= slots_.size();
  const std::size_t slots =
      std::max(first_slots, crowded ? 2 * slots_.size() : slots_.size());
  const std::vector<entry> old =
      std::exchange(slots_, std::vector<entry>(slots));
  size_ = used_ = 0;
  for (const entry& each : old)
    if (each.id > 0) add(each.name, each.id);
}

}  // namespace zelk::accumulate
