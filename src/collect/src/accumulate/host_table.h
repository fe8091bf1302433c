// Which hosts take part in a run, and which of its expected nodes each one is.
//
// Belongs to a connection and its thread, and is used inside write transactions
// only. Bounded in memory.

#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <unordered_map>

#include "src/collect/src/accumulate/name_table.h"
#include "src/common/datastore/sqlite.h"

namespace zelk::accumulate {

class host_table {
 public:
  struct entry {
    std::int64_t id = 0;
    std::int64_t hostname = 0;  // its number in the table of names
    bool made = false;          // by this very call
    bool new_node = false;      // the first result of this node in the run
  };

  host_table(datastore::database& base, name_table& names);

  // Returns the entry of the host `hostname`, started with -H `host_arg`, in
  // `run`; made if there is none.
  entry get(std::int64_t run, std::string_view hostname,
            std::string_view host_arg);

  // Takes back an entry that get() has just made and that no result needs: a
  // node without results in a run has not answered it.
  void take_back(const entry& unused, std::string_view hostname,
                 std::string_view host_arg);

  // After a roll-back.
  void forget() { known_.clear(); }

 private:
  std::int64_t find(std::int64_t run, std::int64_t hostname,
                    std::int64_t host_arg);

  datastore::database& base_;
  name_table& names_;
  datastore::statement find_;
  datastore::statement find_node_;
  datastore::statement expected_;
  datastore::statement insert_;
  datastore::statement remove_;
  std::int64_t known_run_ = 0;                    // of the entries in known_
  std::unordered_map<std::string, entry> known_;  // neither made nor new
  std::string key_;                               // that is looked for
};

// Returns what `run` calls a host: the first of -H's text, the host name, and
// the host name up to its first dot that the run expects; else the host name.
// `expected` is a query for one node of a run.
std::string_view node_of_host(datastore::statement& expected, std::int64_t run,
                              std::string_view hostname,
                              std::string_view host_arg);

// The query that node_of_host() needs.
constexpr char expected_node_query[] =
    "SELECT 1 FROM expected_node WHERE run = ?1 AND node = ?2";

}  // namespace zelk::accumulate
