#include "provider/src/common/team.h"

#include <sched.h>

#include <exception>
#include <mutex>
#include <thread>

#include "provider/src/common/cpus.h"

namespace zelk::perf {
namespace {

void pause_briefly(int turn) {
  constexpr int turns_before_yield = 2000;  // some 50 us
  if (turn % turns_before_yield == turns_before_yield - 1) {
    ::sched_yield();
    return;
  }
#if defined(__x86_64__)
  __builtin_ia32_pause();
#endif
}

}  // namespace

void gate::wait() {
  const std::size_t round = round_.load(std::memory_order_acquire);
  if (arrived_.fetch_add(1, std::memory_order_acq_rel) + 1 == threads_) {
    arrived_.store(0, std::memory_order_relaxed);
    round_.store(round + 1, std::memory_order_release);
    return;
  }
  for (int turn = 0; round_.load(std::memory_order_acquire) == round; ++turn)
    pause_briefly(turn & 0xffff);
}

std::size_t run_bound(const std::vector<int>& cpus,
                      const std::function<void(std::size_t)>& work) {
  std::atomic<std::size_t> unbound = 0;
  std::exception_ptr failure;
  std::mutex failure_guard;
  enum { not_yet, go, give_up };
  // Nobody starts before all are there: when the kernel has no more threads to
  // give, those that run would wait at a gate for ever.
  std::atomic<int> start = not_yet;
  const auto body = [&](std::size_t index) {
    start.wait(not_yet);
    if (start == give_up) return;
    if (!bind_to_cpu(cpus[index])) ++unbound;
    try {
      work(index);
    } catch (...) {
      const std::lock_guard<std::mutex> lock(failure_guard);
      failure = std::current_exception();
    }
  };
  std::vector<std::jthread> threads;
  threads.reserve(cpus.size());
  const auto release = [&](int how) {
    start = how;
    start.notify_all();
  };
  try {
    for (std::size_t index = 0; index < cpus.size(); ++index)
      threads.emplace_back(body, index);
  } catch (...) {
    release(give_up);
    throw;
  }
  release(go);
  threads.clear();
  if (failure) std::rethrow_exception(failure);
  return unbound;
}

}  // namespace zelk::perf
