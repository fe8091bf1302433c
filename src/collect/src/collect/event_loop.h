// One thread's wait for descriptors and for moments in time.
//
//   event_loop loop;
//   loop.watch(fd, POLLIN, [&](short events) { ... });
//   loop.after(seconds(5), [&] { finished = true; });
//   while (!finished) loop.run_once();
//
// Callbacks run inside run_once(), one after the other. Any of them may watch,
// forget, set and cancel whatever it likes, itself included: a descriptor or a
// timer that was given up is never called again, not even for an event that had
// been noticed already. An exception of a callback leaves run_once() and the
// loop is as good as before. Descriptors belong to the caller and must be
// forgotten before they are closed.

#pragma once

#include <poll.h>

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <unordered_map>
#include <vector>

namespace zelk::collect {

class event_loop {
 public:
  using clock = std::chrono::steady_clock;
  // Never 0 and never used twice.
  using timer_id = std::uint64_t;

  event_loop() = default;
  event_loop(const event_loop&) = delete;
  event_loop& operator=(const event_loop&) = delete;

  // Calls `on_event` with what poll(2) reports for `fd`: some of `events`, or
  // POLLERR, POLLHUP, POLLNVAL, which come unasked. A descriptor that is
  // watched already gets the new events and callback.
  void watch(int fd, short events, std::function<void(short)> on_event);
  // Does nothing when `fd` is not watched.
  void forget(int fd);
  bool watches(int fd) const { return watched_.count(fd) != 0; }

  // Calls `on_time` once, not before `when`; in the order of their moments, and
  // those of the same moment in the order in which they were set.
  timer_id at(clock::time_point when, std::function<void()> on_time);
  timer_id after(clock::duration delay, std::function<void()> on_time);
  // Does nothing when the timer has run, was cancelled, or is 0.
  void cancel(timer_id timer);

  // Nothing is watched and no timer is set: run_once() would wait for ever.
  bool idle() const { return watched_.empty() && timers_.empty(); }

  // Waits until something has happened and calls what belongs to it: first the
  // descriptors, then the timers that were due when the wait ended. Returns
  // without a call when a signal has come, when `longest` is over, or at once
  // when the loop is idle.
  void run_once(clock::duration longest = clock::duration::max());

 private:
  struct watched {
    short events;
    std::uint64_t generation;  // tells a descriptor from a later namesake
    std::function<void(short)> on_event;
  };
  using timer_key = std::pair<clock::time_point, timer_id>;

  int wait(clock::duration longest);
  void call_watchers();
  void call_timers(clock::time_point now);

  std::unordered_map<int, watched> watched_;
  std::map<timer_key, std::function<void()>> timers_;
  std::unordered_map<timer_id, clock::time_point> moments_;
  std::vector<pollfd> polled_;
  std::vector<std::uint64_t> generations_;  // of the descriptors in polled_
  std::uint64_t next_generation_ = 1;
  timer_id next_timer_ = 1;
  bool changed_ = true;  // polled_ no longer shows what is watched
};

}  // namespace zelk::collect
