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

// The run that `now` is compared with. `asked` is what --baseline got:
//
//   ""      the marked one; else the newest that started before, has ended and
//           has at least half as many results (a repetition on a few nodes says
//           nothing of the others), with the same label if there is one
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
