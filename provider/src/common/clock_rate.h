// How fast a processor's clock runs while something is measured.
//
// Two answers, which need not agree: what the kernel says (cpufreq, else
// /proc/cpuinfo), and what a short burst of work shows. The second also works
// on a virtual machine, which is told one number for ever, and it is what the
// measured program really got.
#pragma once

#include <string>
#include <vector>

#include "provider/src/common/cpus.h"

namespace zelk::perf {

// Seconds of a clock that never goes back.
double now();

// Seconds that the calling thread has had of a processor.
double thread_seconds();

// How much of the time it wanted a thread got a processor, in percent, since
// this was made on that thread. Less than 99 says that somebody else worked
// there meanwhile, and that a low figure need not be the machine's fault.
class share_clock {
 public:
  share_clock() : wall_(now()), own_(thread_seconds()) {}
  double percent() const;

 private:
  double wall_, own_;
};

// MHz of the processor this thread runs on, out of about 50 us of work; 0 where
// no instruction of one cycle is known to us.
double measured_mhz();

// MHz as the kernel tells it; 0 when it does not.
double told_mhz(const std::string& root, int number);

// Degrees Celsius of the hottest sensor of a processor; 0 without one.
double hottest_sensor(const std::string& root);

// What was seen of the clock in the course of a measurement: a value for each
// time that a thread looked, in the order of the looks.
class clock_log {
 public:
  explicit clock_log(std::size_t threads) : samples_(threads) {}

  // Called by thread `index` itself, between two pieces of work.
  void look(std::size_t index) { samples_[index].push_back(measured_mhz()); }

  // Prints "clock.measured.*" and, for the first and the second half of the
  // looks of each thread, "clock.half.*".
  void print() const;

 private:
  std::vector<std::vector<double>> samples_;
};

// Prints "clock.told.least", "clock.told.most", and "clock.governor", all as
// the kernel tells them now.
void print_told_clocks(const std::string& root, const std::vector<cpu>& cpus);

}  // namespace zelk::perf
