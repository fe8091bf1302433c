// Old runs, taken out.

#pragma once

#include <string>
#include <vector>

#include "src/collect/src/reading/opening.h"

namespace zelk::db {

struct prune_options {
  std::vector<std::string> runs;  // run_selection.h; none: all
  std::string keep;               // a duration, or so many of the newest
  // Runs with one of these stay. Not given: all that have a label do.
  std::vector<std::string> keep_labels;
  bool force = false;  // the baseline, too
  bool dry_run = false;
  bool yes = false;
  bool quiet = false;
};

// Tells which runs go, asks on a terminal, and removes them. Returns the exit
// status.
int prune_runs(const reading::place& where, const prune_options& options);

}  // namespace zelk::db
