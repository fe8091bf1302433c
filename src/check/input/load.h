// A run of the datastore as the values that are judged.
//
// Every node that was expected and every node that answered is there, and of
// each what became of every provider; nothing that did not come is left out. A
// result that came twice for one node counts once, as its newest. Outputs are
// read by the descriptions, equal ones once. The same run gives the same
// run_data whatever the order in which its results arrived.
//
// Bounded: names and reasons that only a few nodes have, of which a hostile
// output may hold any number, are left out and said to be so (fact_table.h).
// Throws reading::refusal or datastore::store_error.

#pragma once

#include <cstdint>

#include "src/check/run_data.h"
#include "src/collect/src/reading/run_facts.h"
#include "src/common/datastore/sqlite.h"
#include "src/common/facts/description_set.h"

namespace zelk::check {

// For several runs; of one, outputs that are equal are read once.
class run_loader {
 public:
  run_loader(datastore::database& base,
             const facts::description_set& descriptions);

  // Nobody has any notes yet: node_notes.h.
  run_data load(std::int64_t run);

  // What came of some nodes and providers, and nothing of what did not.
  run_data load_results(const reading::result_choice& of);

 private:
  datastore::database& base_;
  const facts::description_set& descriptions_;
  reading::output_reader outputs_;
};

run_data load(datastore::database& base, std::int64_t run,
              const facts::description_set& descriptions);

// Gives a provider that ran with one option set in one of the runs and with
// several in the other the same names in both, so that they can be compared.
void align_options(run_data& now, run_data& earlier);

}  // namespace zelk::check
