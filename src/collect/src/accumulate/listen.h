// The command "listen": records from a socket into the datastore.

#pragma once

#include <chrono>
#include <cstdint>
#include <string>
#include <vector>

#include "src/collect/src/accumulate/meter.h"
#include "src/collect/src/accumulate/receiver.h"
#include "src/collect/src/accumulate/store_writer.h"

namespace zelk::accumulate {

struct listen_options {
  std::vector<std::string> endpoints;
  receiver_limits limits;
  std::size_t memory = 0;  // bytes of records that are not yet stored
  writer_options writer;
  // Ends when everything that is expected has come and every peer is gone.
  bool until_complete = false;
  std::chrono::seconds time_limit{0};  // ends then at the latest; 0: none
  // How long peers that are still sending are heard at the end, and how long a
  // store that takes nothing is waited for.
  std::chrono::seconds stop_wait{10};
  std::chrono::seconds stats_interval{60};
  int ready_fd = -1;
  // The pipes of the collector that started this process; see collector_link.h.
  int control_fd = -1;
  int events_fd = -1;
  progress_style progress = progress_style::automatic;
  bool quiet = false;
  bool json = false;
};

// The least memory that records of at most `max_record` bytes can do with.
std::size_t least_memory(std::size_t max_record);

// Returns the exit status. What it came to is told on standard output.
int listen(const listen_options& options);

}  // namespace zelk::accumulate
