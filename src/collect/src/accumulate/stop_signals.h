// SIGTERM and SIGINT as a descriptor to wait for.
//
// The first one asks for a clean end, the second one for an immediate one. Make
// one before any other thread starts, so that no thread is interrupted by them.
// One thread looks; it may be another one than the maker.

#pragma once

#include <atomic>
#include <csignal>
#include <thread>

#include "src/common/util/unique_fd.h"

namespace zelk::accumulate {

class stop_signals {
 public:
  // Blocks the two signals for this thread and those it starts; SIGPIPE is
  // ignored from now on.
  stop_signals();
  ~stop_signals();
  stop_signals(const stop_signals&) = delete;
  stop_signals& operator=(const stop_signals&) = delete;

  // From now on the second signal ends the process as die() does, whatever its
  // threads are busy with.
  void end_at_second();

  // Readable while a signal waits for look(); after end_at_second(), from the
  // first signal on.
  int fd() const { return came_ ? came_.get() : fd_.get(); }
  // Takes in what has come. Returns how many signals have come, ever.
  int look();
  // The first one's number; 0: none has come.
  int first() const { return first_; }
  int count() const { return count_; }

  // Ends the process as the first signal would have.
  [[noreturn]] void die() const;

 private:
  void take_in();
  void watch();

  util::unique_fd fd_;
  util::unique_fd came_;  // both of end_at_second() only
  util::unique_fd quit_;
  std::thread watcher_;
  sigset_t before_ = {};
  std::atomic<int> first_ = 0;
  std::atomic<int> count_ = 0;
};

}  // namespace zelk::accumulate
