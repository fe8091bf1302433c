#include "src/collect/src/collect/event_loop.h"

#include <algorithm>
#include <cerrno>
#include <ctime>
#include <system_error>
#include <utility>

namespace zelk::collect {

namespace {

using std::chrono::nanoseconds;
using std::chrono::seconds;

// A day: more might not fit, and waking up once a day costs nothing.
constexpr seconds longest_wait{86'400};

}  // namespace

void event_loop::watch(int fd, short events,
                       std::function<void(short)> on_event) {
  watched_[fd] = {events, next_generation_++, std::move(on_event)};
  changed_ = true;
}

void event_loop::forget(int fd) {
  if (watched_.erase(fd) != 0) changed_ = true;
}

event_loop::timer_id event_loop::at(clock::time_point when,
                                    std::function<void()> on_time) {
  const timer_id timer = next_timer_++;
  timers_.emplace(timer_key(when, timer), std::move(on_time));
  moments_.emplace(timer, when);
  return timer;
}

event_loop::timer_id event_loop::after(clock::duration delay,
                                       std::function<void()> on_time) {
  return at(clock::now() +
                std::clamp<clock::duration>(delay, clock::duration::zero(),
                                            std::chrono::hours(24 * 366 * 100)),
            std::move(on_time));
}

void event_loop::cancel(timer_id timer) {
  const auto found = moments_.find(timer);
  if (found == moments_.end()) return;
  timers_.erase({found->second, timer});
  moments_.erase(found);
}

int event_loop::wait(clock::duration longest) {
  if (changed_) {
    polled_.clear();
    generations_.clear();
    for (const auto& [fd, entry] : watched_) {
      polled_.push_back({fd, entry.events, 0});
      generations_.push_back(entry.generation);
    }
    changed_ = false;
  }
  if (!timers_.empty()) {
    longest = std::min<clock::duration>(
        longest, timers_.begin()->first.first - clock::now());
  }
  longest = std::clamp<clock::duration>(longest, clock::duration::zero(),
                                        longest_wait);
  const seconds whole = std::chrono::duration_cast<seconds>(longest);
  const nanoseconds rest = longest - whole;
  const timespec limit{whole.count(), rest.count()};
  const int ready = ::ppoll(polled_.data(), polled_.size(), &limit, nullptr);
  // EINVAL: more descriptors than the process may have open. EFAULT cannot be.
  if (ready < 0 && errno != EINTR && errno != EAGAIN && errno != ENOMEM)
    throw std::system_error(errno, std::generic_category(), "ppoll");
  return ready;
}

// What is watched may change with each call, so the callback is looked up again
// and taken along: it must live on when it gives itself up.
void event_loop::call_watchers() {
  const std::vector<pollfd> noticed = polled_;
  const std::vector<std::uint64_t> generations = generations_;
  for (std::size_t i = 0; i < noticed.size(); ++i) {
    if (noticed[i].revents == 0) continue;
    const auto found = watched_.find(noticed[i].fd);
    if (found == watched_.end()) continue;
    if (found->second.generation != generations[i]) continue;
    const std::function<void(short)> callback = found->second.on_event;
    callback(noticed[i].revents);
  }
}

// A timer that is set by a timer waits for the next turn, however early its
// moment: otherwise two that set each other would keep descriptors waiting.
void event_loop::call_timers(clock::time_point now) {
  const timer_id first_new = next_timer_;
  auto next = timers_.begin();
  while (next != timers_.end() && next->first.first <= now) {
    if (next->first.second >= first_new) {
      ++next;
      continue;
    }
    const std::function<void()> callback = std::move(next->second);
    moments_.erase(next->first.second);
    timers_.erase(next);
    callback();
    next = timers_.begin();
  }
}

void event_loop::run_once(clock::duration longest) {
  if (idle()) return;
  const int ready = wait(longest);
  const clock::time_point now = clock::now();
  if (ready > 0) call_watchers();
  call_timers(now);
}

}  // namespace zelk::collect
