// Which process fills a run, and whether it is still there.

#pragma once

#include <cstdint>
#include <string>

namespace zelk::accumulate {

struct run_owner {
  std::string host;
  std::int64_t pid = 0;
  std::int64_t start = 0;  // clock ticks since boot: a pid is given again
};

// This process.
run_owner this_process();

// Whether `owner` was a process of this host that has ended. Of other hosts
// nothing is known, and false is returned.
bool has_ended(const run_owner& owner);

}  // namespace zelk::accumulate
