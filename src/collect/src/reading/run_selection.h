// Runs as people name them on a command line.
//
//   412                       its number
//   latest  latest~2          the one that started last; the second before it
//   label:nightly             the last one with that label
//   2025-11-20                the last one that started on that day
//   baseline                  the one that is marked (zelk-db baseline)
//
// and, where several make sense, these too:
//
//   400..412                  numbers, both included
//   2025-11-01..2025-11-20    days, both included
//   now-7d..now               by the start
//
// What names no run is a refusal that lists what there is near it.

#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "src/collect/src/accumulate/runs.h"

namespace zelk::reading {

accumulate::run select_run(datastore::database& base, std::string_view text);

// All runs that `texts` name, the oldest first, each once.
std::vector<accumulate::run> select_runs(datastore::database& base,
                                         const std::vector<std::string>& texts);

// "run 412 (2025-11-20 02:00, label 'nightly')", fit for a terminal.
std::string name_of_run(const accumulate::run& run);

}  // namespace zelk::reading
