// Which earlier runs a run is compared with.
//
// By what the datastore holds only, never by the time that it takes.

#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "src/collect/src/accumulate/runs.h"
#include "src/common/datastore/sqlite.h"

namespace zelk::check {

struct chosen_run {
  accumulate::run run;
  // One that started later, and goes on; 0: there is none.
  std::int64_t newer = 0;
};

// The run that `asked` names (run_selection.h), but that "latest", "latest~2"
// and "label:NAME" are of the runs that have ended: what a run that goes on has
// so far says nothing of the nodes whose turn is still to come. One that goes
// on is chosen when it is named, or when none has ended.
chosen_run choose_run(datastore::database& base, const std::string& asked);

// The run that `now` is compared with. `asked` is what --baseline got:
//
//   ""      the marked one, if it is an earlier one; else the newest that
//           started before, has ended and has at least half of the results of
//           `now`, by node and provider (a repetition on a few nodes says
//           nothing of the others), with the same label if there is one; else
//           the one that shares most
//   "none"  nothing
//   RUN     that one; of label:NAME the newest that started before
std::optional<accumulate::run> choose_baseline(datastore::database& base,
                                               const accumulate::run& now,
                                               const std::string& asked);

// Limits on the history: so many runs, and results of them all.
struct history_budget {
  std::size_t runs = 12;
  std::int64_t results = 100'000;
  // Of a run that is loaded anyway; it costs nothing. 0: there is none.
  std::int64_t loaded = 0;
};

// Runs before `now` for its history, the newest first: ended, with the same
// label, with at least half as many results.
std::vector<accumulate::run> choose_history(datastore::database& base,
                                            const accumulate::run& now,
                                            const history_budget& budget = {});

}  // namespace zelk::check
