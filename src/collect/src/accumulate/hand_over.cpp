#include "src/collect/src/accumulate/hand_over.h"

#include <iterator>
#include <utility>

namespace zelk::accumulate {

void hand_over::put(records& some) {
  if (some.empty()) return;
  {
    const std::lock_guard guard(lock_);
    if (waiting_.empty())
      waiting_.swap(some);
    else
      waiting_.insert(waiting_.end(), std::make_move_iterator(some.begin()),
                      std::make_move_iterator(some.end()));
  }
  some.clear();
  changed_.notify_one();
}

void hand_over::close() {
  {
    const std::lock_guard guard(lock_);
    closed_ = true;
  }
  changed_.notify_one();
}

void hand_over::wake() {
  {
    const std::lock_guard guard(lock_);
    woken_ = true;
  }
  changed_.notify_one();
}

hand_over::records hand_over::take(std::optional<time_point> until) {
  std::unique_lock guard(lock_);
  const auto ready = [this] { return !waiting_.empty() || closed_ || woken_; };
  if (until)
    changed_.wait_until(guard, *until, ready);
  else
    changed_.wait(guard, ready);
  woken_ = false;
  return std::exchange(waiting_, {});
}

bool hand_over::empty() const {
  const std::lock_guard guard(lock_);
  return waiting_.empty();
}

bool hand_over::finished() const {
  const std::lock_guard guard(lock_);
  return closed_ && waiting_.empty();
}

}  // namespace zelk::accumulate
