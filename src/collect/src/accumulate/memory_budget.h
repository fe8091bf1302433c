// The bytes that records on their way into the store may hold, and the places
// where they lie.
//
// One thread reserves, another releases. A reservation that does not fit is
// refused, never waited for: whoever was refused is told by the wake-up call
// when something was released, and asks again.

#pragma once

#include <atomic>
#include <cstddef>
#include <functional>
#include <utility>

#include "src/collect/src/accumulate/arrival_pool.h"

namespace zelk::accumulate {

class memory_budget {
 public:
  // `wake_up` is called from the releasing thread, once for each time that a
  // reservation was refused; it must not block.
  explicit memory_budget(std::size_t limit, std::function<void()> wake_up = {})
      : limit_(limit), wake_up_(std::move(wake_up)) {}

  // Requires: always the same thread.
  bool reserve(std::size_t bytes) {
    if (fits(bytes)) return add(bytes);
    refused_ = true;
    // What was released since the first look found nobody to wake up.
    return fits(bytes) && add(bytes);
  }
  void release(std::size_t bytes) {
    held_ -= bytes;
    if (refused_.exchange(false) && wake_up_) wake_up_();
  }

  // Spare ones are not counted: they are few, see there.
  arrival_pool& places() { return places_; }

  std::size_t limit() const { return limit_; }
  std::size_t held() const { return held_; }
  std::size_t left() const { return limit_ - held_; }

 private:
  bool fits(std::size_t bytes) const { return bytes <= left(); }
  bool add(std::size_t bytes) {
    held_ += bytes;
    return true;
  }

  const std::size_t limit_;
  std::function<void()> wake_up_;
  std::atomic<std::size_t> held_ = 0;
  std::atomic<bool> refused_ = false;
  arrival_pool places_;
};

}  // namespace zelk::accumulate
