#include "src/collect/src/accumulate/job_thread.h"

#include <pthread.h>
#include <signal.h>

#include <utility>

namespace zelk::accumulate {

namespace {

// A new thread inherits the mask. Signals belong to the program's own threads,
// which know what to do with them.
class signals_blocked {
 public:
  signals_blocked() {
    sigset_t all;
    ::sigfillset(&all);
    ::pthread_sigmask(SIG_SETMASK, &all, &before_);
  }
  ~signals_blocked() { ::pthread_sigmask(SIG_SETMASK, &before_, nullptr); }
  signals_blocked(const signals_blocked&) = delete;
  signals_blocked& operator=(const signals_blocked&) = delete;

 private:
  sigset_t before_ = {};
};

}  // namespace

job_thread::job_thread(std::function<void()> told) : told_(std::move(told)) {
  const signals_blocked for_the_new_thread;
  thread_ = std::thread([this] { work(); });
}

job_thread::~job_thread() {
  {
    const std::lock_guard guard(lock_);
    ending_ = true;
  }
  changed_.notify_all();
  thread_.join();
}

void job_thread::start(std::function<void()> job) {
  {
    const std::lock_guard guard(lock_);
    job_ = std::move(job);
  }
  changed_.notify_all();
}

void job_thread::wait() {
  std::unique_lock guard(lock_);
  changed_.wait(guard, [this] { return !job_; });
}

bool job_thread::busy() {
  const std::lock_guard guard(lock_);
  return static_cast<bool>(job_);
}

void job_thread::work() {
  std::unique_lock guard(lock_);
  for (;;) {
    changed_.wait(guard, [this] { return job_ || ending_; });
    if (!job_) return;
    guard.unlock();
    job_();
    guard.lock();
    job_ = nullptr;
    changed_.notify_all();
    if (!told_) continue;
    guard.unlock();
    told_();
    guard.lock();
  }
}

}  // namespace zelk::accumulate
