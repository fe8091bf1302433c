// A table from digests to numbers that lies in one piece of memory.
//
// A digest is its own hash, so a slot is found with one look at memory; an
// std::unordered_map takes four, which is a tenth of what storing a record
// costs. Grows by doubling; never shrinks but by clear().

#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "src/collect/src/accumulate/sha256.h"

namespace zelk::accumulate {

class digest_map {
 public:
  struct entry {
    digest name = {};
    std::int64_t id = never_used;  // 0: erased
  };

  // Returns 0 for a name that is not there.
  std::int64_t find(const digest& name) const;
  // Has the memory where `name` would lie fetched: for a find() that comes
  // soon.
  void announce(const digest& name) const;
  // Adds `name`. Requires: it is not there, and id > 0.
  void add(const digest& name, std::int64_t id);
  void erase(const digest& name);
  void clear();

  std::size_t size() const { return size_; }
  std::size_t slots() const { return slots_.size(); }

  // Calls `visit` with each name and its number, in no order.
  template <typename Visitor>
  void for_each(const Visitor& visit) const {
    for (const entry& each : slots_)
      if (each.id > 0) visit(each.name, each.id);
  }

 private:
  static constexpr std::int64_t never_used = -1;

  entry& slot_of(const digest& name);
  void grow();

  std::vector<entry> slots_;  // a power of two, at most half of them used
  std::size_t size_ = 0;
  std::size_t used_ = 0;  // the erased ones too
};

}  // namespace zelk::accumulate
