// What an administrator says of runs and nodes: which run is the baseline, and
// which known states are accepted.
//
// Only writing; everybody reads the views. Plain functions on a datastore that
// is open to write, each a transaction of its own. All throw
// datastore::store_error.

#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "src/common/datastore/sqlite.h"

namespace zelk::accumulate {

struct baseline_mark {
  std::int64_t run = 0;
  std::string name;  // "": none
  std::string who;
  std::int64_t made_usec = 0;  // since the Unix epoch
};

// Marks a run as the baseline, instead of any that was. Returns false, and
// changes nothing, when there is no such run.
bool mark_baseline(datastore::database& base, const baseline_mark& mark);

// Returns whether there was one.
bool clear_baseline(datastore::database& base);

// A known state that is accepted.
struct new_acceptance {
  std::string check;               // a check's id
  std::string node_set;            // as it was typed; "": any node
  std::vector<std::string> nodes;  // that it stands for, each once
  std::string reason, who;
  std::int64_t made_usec = 0;   // since the Unix epoch
  std::int64_t until_usec = 0;  // not included; 0: for good
  std::int64_t run = 0;         // where it was seen; 0: nobody said
};

// Returns its id, which is never given a second time.
std::int64_t add_acceptance(datastore::database& base,
                            const new_acceptance& wanted);

// Takes an acceptance back. Returns false, and changes nothing, when there is
// none of that id or it was taken back before.
bool revoke_acceptance(datastore::database& base, std::int64_t id,
                       std::string_view who, std::int64_t usec);

// Those of `nodes` that neither gave a result to a run nor were expected by it;
// without a run, to any. In the order given.
std::vector<std::string> unknown_nodes(datastore::database& base,
                                       const std::vector<std::string>& nodes,
                                       std::optional<std::int64_t> run);

}  // namespace zelk::accumulate
