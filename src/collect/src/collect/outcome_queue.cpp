#include "src/collect/src/collect/outcome_queue.h"

#include <utility>

namespace zelk::collect {

void outcome_queue::push(launch_outcome outcome, outcome_taker taker) {
  entries_.push_back({std::move(outcome), std::move(taker)});
  if (timer_ == 0) timer_ = loop_.after({}, [this] { hand_over(); });
}

// One at a time: if a taker throws, the others are still there.
void outcome_queue::hand_over() {
  entry next = std::move(entries_.front());
  entries_.pop_front();
  timer_ = entries_.empty() ? 0 : loop_.after({}, [this] { hand_over(); });
  (*next.taker)(std::move(next.outcome));
}

}  // namespace zelk::collect
