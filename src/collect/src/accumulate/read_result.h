// Stored results, read back byte for byte.
//
// For export, replay and showing; works on a read-only datastore. Queries over
// many results use the views. All throw datastore::store_error.

#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>

#include "src/collect/src/provider/result.h"
#include "src/common/datastore/sqlite.h"

namespace zelk::accumulate {

struct result_filter {
  std::int64_t run = 0;       // 0: any
  std::string node = {};      // host name or expected node name; empty: any
  std::string provider = {};  // empty: any
};

// Returns the record that was stored as `id` ("rowid" of the views): the same
// 736 header bytes, the same blocks. Nothing when there is none.
std::optional<provider_result> read_result(datastore::database& base,
                                           std::int64_t id);

// Calls `visit` with the id of each matching result, in order of the id, until
// it returns false. Memory does not grow with their number. `visit` may read
// from the same database but not write to it.
void for_each_result(datastore::database& base, const result_filter& filter,
                     const std::function<bool(std::int64_t)>& visit);

// Compares what the file holds with its own hashes and counters, beyond what
// SQLite checks. Calls `complain` with one sentence for each fault and returns
// their number.
std::int64_t verify_datastore(
    datastore::database& base,
    const std::function<void(const std::string&)>& complain);

}  // namespace zelk::accumulate
