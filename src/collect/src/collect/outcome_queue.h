// Outcomes on their way to whoever asked for them.
//
// They are handed over by a turn of the loop of their own: a launcher can tell
// of an end in the middle of whatever it does, and what it calls may start the
// next launch at once.

#pragma once

#include <deque>
#include <functional>
#include <memory>

#include "src/collect/src/collect/event_loop.h"
#include "src/collect/src/collect/launcher.h"

namespace zelk::collect {

using outcome_taker = std::shared_ptr<std::function<void(launch_outcome)>>;

class outcome_queue {
 public:
  explicit outcome_queue(event_loop& loop) : loop_(loop) {}
  ~outcome_queue() { loop_.cancel(timer_); }
  outcome_queue(const outcome_queue&) = delete;
  outcome_queue& operator=(const outcome_queue&) = delete;

  void push(launch_outcome outcome, outcome_taker taker);

 private:
  struct entry {
    launch_outcome outcome;
    outcome_taker taker;
  };
  void hand_over();

  event_loop& loop_;
  std::deque<entry> entries_;
  event_loop::timer_id timer_ = 0;
};

}  // namespace zelk::collect
