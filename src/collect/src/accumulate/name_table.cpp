#include "src/collect/src/accumulate/name_table.h"

namespace zelk::accumulate {

namespace {

// All hosts of a large site, and then some: about 10 MB.
constexpr std::size_t most_known = 100'000;

}  // namespace

name_table::name_table(datastore::database& base)
    : base_(base),
      find_(base, "SELECT id FROM name WHERE text = ?1"),
      store_(base, "INSERT INTO name (text) VALUES (?1)") {}

std::int64_t name_table::id(std::string_view text) {
  const auto known = known_.find(text);
  if (known != known_.end()) return known->second;
  if (known_.size() >= most_known) known_.clear();
  const std::int64_t id = find_or_store(text);
  known_.emplace(text, id);
  return id;
}

std::int64_t name_table::find_or_store(std::string_view text) {
  const bool found = find_.bind_bytes(1, text).step();
  const std::int64_t id = found ? find_.integer(0) : 0;
  find_.reset();
  if (found) return id;
  store_.bind_bytes(1, text).run();
  return base_.last_id();
}

}  // namespace zelk::accumulate
