// SIGINT, SIGTERM and SIGHUP as a descriptor to wait for.
//
// The first one asks for a clean end, the second one for an immediate one. Make
// one before any thread and any child: the signals are blocked from then on.

#pragma once

#include <csignal>

#include "src/common/util/unique_fd.h"

namespace zelk::collect {

class stop_signals {
 public:
  // SIGPIPE is ignored from now on.
  stop_signals();
  ~stop_signals();
  stop_signals(const stop_signals&) = delete;
  stop_signals& operator=(const stop_signals&) = delete;

  // Readable while a signal waits for look().
  int fd() const { return fd_.get(); }
  // Takes in what has come. Returns how many signals have come, ever.
  int look();
  int count() const { return count_; }
  // The first one's number; 0: none has come.
  int first() const { return first_; }

  // Ends the process as the first signal would have; see die_of().
  [[noreturn]] void die() const;

 private:
  util::unique_fd fd_;
  sigset_t before_ = {};
  int first_ = 0;
  int count_ = 0;
};

// Ends the process as signal `number` would have, so that a shell sees it and
// stops its script.
[[noreturn]] void die_of(int number);

}  // namespace zelk::collect
