// The facts of a run's results, as the descriptions have them.
//
// Facts are not stored: they are read out of the stored outputs each time, by a
// description of the version that made the output. Outputs that are equal are
// read once.

#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <set>
#include <string>

#include "src/common/datastore/sqlite.h"
#include "src/common/facts/description_set.h"
#include "src/common/facts/fact.h"

namespace zelk::reading {

struct result_choice {
  std::int64_t run = 0;
  std::set<std::string> nodes;      // empty: all
  std::set<std::string> providers;  // empty: all
};

// One result, and whose it is.
struct result_facts {
  std::string node;
  std::string provider;
  std::string option_id;
  std::shared_ptr<const facts::extraction> facts;
};

struct facts_tally {
  std::size_t results = 0;
  std::size_t undeclared = 0;  // their descriptions say nothing of facts
  std::size_t outputs = 0;     // read; the others were equal to one of these
};

// Calls `take` for each chosen result whose description declares facts, and for
// each without a description, in the order of provider, node and option set.
// Nodes are in natural order.
facts_tally for_each_facts(
    datastore::database& base, const result_choice& choice,
    const facts::description_set& descriptions,
    const std::function<void(const result_facts&)>& take);

}  // namespace zelk::reading
