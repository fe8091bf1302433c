// Work that may never end, in a process of its own.
//
// A call into a dead network file system does not return, and a process in it
// does not even die when it is killed. So nobody waits for such a process
// longer than its limit, and one that outlives SIGKILL is left behind: the
// kernel ends it as soon as the call returns, and nothing here depends on it.
#pragma once

#include <sys/types.h>

#include <functional>
#include <string>
#include <vector>

namespace zelk::perf::disk {

enum class ending {
  done,        // by itself, with status 0
  failed,      // by itself, or by a signal that was not ours
  too_slow,    // its limit passed
  terminated,  // this process was asked to end (SIGTERM, SIGINT or SIGHUP)
};

struct answer {
  ending how = ending::failed;
  std::string lines;  // whole lines that it wrote, whatever became of it
};

struct job {
  // Writes to the descriptor; the result is the exit status.
  std::function<int(int output)> work;
  double seconds = 0;
};

// Runs them all at the same time, each within its own limit.
std::vector<answer> run_bounded(const std::vector<job>& jobs);

// From here on the three signals only set a mark. A child of run_bounded gets
// SIGTERM when its parent dies, and should look at the mark.
void watch_for_end();
bool end_was_asked();
// Ends this process by the signal that was caught. Requires: end_was_asked().
[[noreturn]] void end_as_asked();

}  // namespace zelk::perf::disk
