// One measurement of memory bandwidth: threads, each on a core of its own, that
// go through three arrays together.
#pragma once

#include <cstddef>
#include <vector>

#include "provider/src/common/clock_rate.h"
#include "provider/src/stream_triad/kernels.h"

namespace zelk::perf::stream {

struct request {
  std::vector<int> cpus;     // a thread for each
  std::size_t elements = 0;  // of each array
  int times = 0;             // passes through the four kernels, at most
  double seconds = 0;        // no pass is started after these
};

struct outcome {
  // MB/s (10^6 bytes), a value for each pass but the first, which finds cold
  // page tables.
  std::vector<double> rates[kernel_count];
  std::vector<double> shares;  // of a processor, percent, of each thread
  std::size_t wrong_elements = 0;
  std::size_t unbound_threads = 0;
  int passes = 0;
};

// Throws std::bad_alloc when the arrays cannot be had.
outcome measure(const request& wanted, clock_log& clocks);

}  // namespace zelk::perf::stream
