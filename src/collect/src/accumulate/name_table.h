// Short texts that stand in many results (host names, providers, option sets,
// users), each stored once.
//
// Belongs to a connection and its thread. What it remembers is bounded: a
// sender that invents names costs rows, not memory.

#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <unordered_map>

#include "src/common/datastore/sqlite.h"

namespace zelk::accumulate {

class name_table {
 public:
  explicit name_table(datastore::database& base);

  // Returns the number of `text`, which is stored if it is new.
  // Requires: a write transaction.
  std::int64_t id(std::string_view text);

  // After a roll-back: numbers given since the transaction began are void.
  void forget() { known_.clear(); }

 private:
  struct hash {
    using is_transparent = void;
    std::size_t operator()(std::string_view text) const {
      return std::hash<std::string_view>()(text);
    }
  };

  std::int64_t find_or_store(std::string_view text);

  datastore::database& base_;
  datastore::statement find_;
  datastore::statement store_;
  std::unordered_map<std::string, std::int64_t, hash, std::equal_to<>> known_;
};

}  // namespace zelk::accumulate
