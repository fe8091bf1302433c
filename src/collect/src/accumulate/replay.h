// The command "replay": result files sent to an accumulator again.

#pragma once

#include <chrono>
#include <cstddef>
#include <string>
#include <vector>

namespace zelk::accumulate {

struct replay_options {
  std::vector<std::string> files;  // directories stand for the files in them
  std::string endpoint;
  std::size_t max_record = 0;
  std::chrono::seconds wait{30};  // for a receiver that takes nothing
  bool quiet = false;
};

// Returns the exit status. Sent is not stored: the receiver tells that.
int replay(const replay_options& options);

}  // namespace zelk::accumulate
