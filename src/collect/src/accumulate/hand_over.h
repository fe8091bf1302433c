// Records on their way from the thread that receives to the one that stores.
//
// Unbounded by itself: what is in it was admitted by the memory budget.

#pragma once

#include <chrono>
#include <condition_variable>
#include <memory>
#include <mutex>
#include <optional>
#include <vector>

#include "src/collect/src/accumulate/arrival_pool.h"

namespace zelk::accumulate {

class hand_over {
 public:
  using records = std::vector<std::unique_ptr<arrival>>;
  using time_point = std::chrono::steady_clock::time_point;

  // Leaves `some` empty.
  void put(records& some);
  // Nothing more will be put.
  void close();

  // Makes take() return, or the next one if there is none: there is something
  // else to be done.
  void wake();

  // Returns all that there is, in order. With nothing there it waits for some,
  // for close(), for wake(), or until `until`.
  records take(std::optional<time_point> until);
  bool empty() const;
  // close() was called and everything was taken.
  bool finished() const;

 private:
  mutable std::mutex lock_;
  std::condition_variable changed_;
  records waiting_;
  bool closed_ = false;
  bool woken_ = false;
};

}  // namespace zelk::accumulate
