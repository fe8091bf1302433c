// A thread that does one job at a time for the thread that owns it.
//
// The owner hands a job over, goes on with something else, and waits for it
// later; what the job wrote is visible then. Only the owner calls these
// functions. A job does not throw.

#pragma once

#include <condition_variable>
#include <functional>
#include <mutex>
#include <thread>

namespace zelk::accumulate {

class job_thread {
 public:
  // `told` is called on the thread behind each job, when wait() no longer
  // waits; it may be empty.
  explicit job_thread(std::function<void()> told = {});
  // Waits for the job that is running.
  ~job_thread();
  job_thread(const job_thread&) = delete;
  job_thread& operator=(const job_thread&) = delete;

  // Requires: !busy().
  void start(std::function<void()> job);
  void wait();
  bool busy();

 private:
  void work();

  const std::function<void()> told_;
  std::mutex lock_;
  std::condition_variable changed_;
  std::function<void()> job_;  // empty: idle
  bool ending_ = false;
  std::thread thread_;
};

}  // namespace zelk::accumulate
