#include "provider/src/latency_jitter/probes.h"

#include <sys/wait.h>
#include <time.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>

#include "provider/src/common/clock_rate.h"

namespace zelk::perf::jitter {
namespace {

constexpr std::uint64_t per_second = 1'000'000'000;

// A chain of dependent steps that no compiler shortens: its length is what the
// clock of the processor makes of it.
std::uint64_t work(std::uint64_t steps, std::uint64_t value) {
  for (std::uint64_t step = 0; step < steps; ++step) {
    value = value * 6364136223846793005u + 1442695040888963407u;
  }
  return value;
}

// Keeps the compiler from leaving out what computes `value`.
void keep(std::uint64_t value) {
  __asm__ volatile("" : : "r"(value));
}

std::uint64_t time_of(std::uint64_t steps) {
  const std::uint64_t start = nanoseconds_now();
  keep(work(steps, start));
  return nanoseconds_now() - start;
}

// So many steps that the shortest of some tries takes about 10 us.
std::uint64_t steps_of_quantum() {
  constexpr std::uint64_t wanted = 10'000, trial = 4000;
  std::uint64_t best = UINT64_MAX;
  for (int turn = 0; turn < 200; ++turn)
    best = std::min(best, time_of(trial));
  return std::max<std::uint64_t>(
      trial * wanted / std::max<std::uint64_t>(best, 1), 1);
}

timespec to_timespec(std::uint64_t nanoseconds) {
  timespec time{};
  time.tv_sec = static_cast<time_t>(nanoseconds / per_second);
  time.tv_nsec = static_cast<long>(nanoseconds % per_second);
  return time;
}

bool run_true() {
  const pid_t child = ::fork();
  if (child == 0) {
    ::execl("/bin/true", "true", static_cast<char*>(nullptr));
    ::_exit(127);
  }
  if (child < 0) return false;
  int status = 0;
  while (::waitpid(child, &status, 0) < 0) {
    if (errno != EINTR) return false;
  }
  return WIFEXITED(status) && WEXITSTATUS(status) == 0;
}

}  // namespace

std::uint64_t nanoseconds_now() {
  timespec time{};
  ::clock_gettime(CLOCK_MONOTONIC, &time);
  return static_cast<std::uint64_t>(time.tv_sec) * per_second +
         static_cast<std::uint64_t>(time.tv_nsec);
}

histogram repeat_quantum(double seconds) {
  const std::uint64_t steps = steps_of_quantum();
  histogram durations;
  const std::uint64_t end =
      nanoseconds_now() + static_cast<std::uint64_t>(seconds * 1e9);
  std::uint64_t before = nanoseconds_now();
  while (before < end) {
    keep(work(steps, before));
    // One reading ends a quantum and starts the next: nothing that happens
    // falls between two.
    const std::uint64_t after = nanoseconds_now();
    durations.add(after - before);
    before = after;
  }
  return durations;
}

double clock_reading_cost(int rounds) {
  constexpr int readings = 4000;
  double best = 1e18;
  for (int round = 0; round < rounds; ++round) {
    timespec time{};
    const std::uint64_t start = nanoseconds_now();
    for (int reading = 0; reading < readings; ++reading)
      ::clock_gettime(CLOCK_MONOTONIC, &time);
    const auto took = static_cast<double>(nanoseconds_now() - start);
    best = std::min(best, took / readings);
  }
  return best;
}

histogram wake_up_delays(double seconds) {
  constexpr std::uint64_t interval = 500'000;  // ns
  histogram delays;
  const std::uint64_t end =
      nanoseconds_now() + static_cast<std::uint64_t>(seconds * 1e9);
  for (std::uint64_t due = nanoseconds_now() + interval; due < end;) {
    const timespec when = to_timespec(due);
    if (::clock_nanosleep(CLOCK_MONOTONIC, TIMER_ABSTIME, &when, nullptr) != 0)
      continue;  // a signal
    const std::uint64_t woken = nanoseconds_now();
    delays.add(woken - due);
    due = woken + interval;
  }
  return delays;
}

histogram fork_exec_costs(double seconds) {
  constexpr std::uint64_t least = 5;
  histogram costs;
  const double end = now() + seconds;
  while (now() < end || costs.count() < least) {
    const std::uint64_t start = nanoseconds_now();
    if (!run_true()) return costs;
    costs.add(nanoseconds_now() - start);
  }
  return costs;
}

}  // namespace zelk::perf::jitter
