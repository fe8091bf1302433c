// Runs from the datastore into one file.

#pragma once

#include <string>
#include <vector>

#include "src/collect/src/reading/opening.h"

namespace zelk::db {

struct export_options {
  std::vector<std::string> runs;  // run_selection.h; none: the latest
  std::string output;
  bool force = false;
  bool quiet = false;
};

// Returns the exit status: 1 when a run that is still running was left out.
int export_runs(const reading::place& where, const export_options& options);

}  // namespace zelk::db
