// The list of runs.

#pragma once

#include <string>
#include <vector>

#include "src/collect/src/reading/opening.h"

namespace zelk::db {

struct run_list_options {
  std::vector<std::string> nodes;     // node sets; "-" reads standard input
  std::vector<std::string> excluded;  // node sets
  std::string since;                  // a duration, a day or now-7d
  std::string label;
  bool json = false;
};

// Returns the exit status.
int list_runs(const reading::place& where, const run_list_options& options);

}  // namespace zelk::db
