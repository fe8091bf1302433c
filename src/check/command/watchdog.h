// An end by time: a monitoring system, or a batch system, waits only so long.
//
// When it strikes, the process says so and ends with status_cannot_tell; no
// half-written file is left. One at a time in a process.

#pragma once

#include <chrono>
#include <string>

namespace zelk::check {

class watchdog {
 public:
  // `what` was not reached in time: "nothing was judged". A limit of 0 is none.
  // With `to_output` a line for a monitoring system goes to standard output.
  watchdog(std::chrono::seconds limit, const std::string& what,
           bool to_output = false);
  ~watchdog();
  watchdog(const watchdog&) = delete;
  watchdog& operator=(const watchdog&) = delete;

  std::chrono::steady_clock::time_point deadline() const { return deadline_; }

 private:
  std::chrono::steady_clock::time_point deadline_;
};

}  // namespace zelk::check
