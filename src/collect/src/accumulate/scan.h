// The command "scan": result files from shared directories into the datastore.

#pragma once

#include <chrono>
#include <cstdint>
#include <string>
#include <vector>

#include "src/collect/src/accumulate/meter.h"
#include "src/collect/src/accumulate/result_store.h"
#include "src/collect/src/accumulate/run_request.h"
#include "src/collect/src/accumulate/scanner.h"

namespace zelk::accumulate {

struct scan_options {
  scanner_options files;
  store_options store;
  run_request run;  // "auto": grouped by label or time
  bool watch = false;
  std::chrono::seconds lock_wait{5};
  std::chrono::milliseconds poll_interval{2000};
  std::chrono::seconds stats_interval{60};
  int ready_fd = -1;
  progress_style progress = progress_style::automatic;
  bool quiet = false;
  bool json = false;
};

// Returns the exit status. What it did is told on standard output.
int scan(const scan_options& options);

}  // namespace zelk::accumulate
