// Threads that each stay on one processor and start together.
#pragma once

#include <atomic>
#include <cstddef>
#include <functional>
#include <vector>

namespace zelk::perf {

// Waits by looking, not by sleeping: what is timed between two waits may be
// shorter than the kernel needs to wake a thread. Gives the processor away now
// and then, for the case that somebody else needs it.
class gate {
 public:
  explicit gate(std::size_t threads) : threads_(threads) {}
  void wait();

 private:
  const std::size_t threads_;
  std::atomic<std::size_t> arrived_ = 0;
  std::atomic<std::size_t> round_ = 0;
};

// Runs `work(index)` on a thread bound to cpus[index], for each of them, and
// waits for all. Returns how many threads could not be bound; those work
// unbound, since the others wait for them at gates. An exception of `work` is
// passed on after all have ended, so `work` may throw only where no other
// thread waits for it.
std::size_t run_bound(const std::vector<int>& cpus,
                      const std::function<void(std::size_t index)>& work);

}  // namespace zelk::perf
