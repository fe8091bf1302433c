// What is timed to see how steadily a node works.
#pragma once

#include <cstdint>
#include <vector>

#include "provider/src/latency_jitter/histogram.h"

namespace zelk::perf::jitter {

// Nanoseconds of a clock that never goes back.
std::uint64_t nanoseconds_now();

// The same piece of work over and over on the calling thread, about 10 us each.
// On a machine that does nothing else each takes as long as any other; what is
// longer shows that something came between.
histogram repeat_quantum(double seconds);

// Nanoseconds that one reading of the clock takes, the best of `rounds` of a
// few thousand. Far above 100 means that the kernel is asked each time.
double clock_reading_cost(int rounds);

// How late the calling thread is woken from a short sleep, for so long.
histogram wake_up_delays(double seconds);

// Nanoseconds from fork() to the end of a child that becomes /bin/true, at
// least 5 of them. Empty when none could be started.
histogram fork_exec_costs(double seconds);

}  // namespace zelk::perf::jitter
