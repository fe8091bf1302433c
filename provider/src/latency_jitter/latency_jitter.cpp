// How steadily a node works: the same short piece of work over and over on each
// processor at the same time; how late a thread wakes up; what reading the
// clock and starting a program cost.
//
//   JITTER_SECONDS   for the pieces of work; half as long for the rest
#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <string>
#include <vector>

#include "provider/src/common/clock_rate.h"
#include "provider/src/common/cpus.h"
#include "provider/src/common/settings.h"
#include "provider/src/common/statistics.h"
#include "provider/src/common/team.h"
#include "provider/src/latency_jitter/probes.h"

namespace zelk::perf::jitter {
namespace {

constexpr const char* program = "latency_jitter";

struct plan {
  std::string root;
  std::vector<cpu> cpus;
  double seconds = 0;  // for the pieces of work
};

plan make_plan() {
  plan made;
  made.root = root_folder();
  // Every thread of a core, other than where bandwidth and arithmetic are
  // measured: the kernel has work of its own for each.
  made.cpus = place_cpus(made.root, allowed_cpus());
  const double asked = seconds_setting("JITTER_SECONDS", 8, 86400);
  made.seconds = std::min(asked, 0.6 * seconds_allowed());
  return made;
}

double micro(std::uint64_t nanoseconds) {
  return static_cast<double>(nanoseconds) / 1000;
}

// By how much the mean exceeds the shortest, in percent: the share of the time
// that was lost.
double noise_percent(const histogram& durations) {
  const auto least = static_cast<double>(durations.least());
  return least > 0 ? (durations.mean() - least) / least * 100 : 0;
}

void print_histogram(const char* source, const histogram& values) {
  std::printf("%s.count: %llu\n", source,
              static_cast<unsigned long long>(values.count()));
  std::printf("%s.least: %.2f us\n", source, micro(values.least()));
  std::printf("%s.median: %.2f us\n", source, micro(values.quantile(0.5)));
  std::printf("%s.p99: %.2f us\n", source, micro(values.quantile(0.99)));
  std::printf("%s.p99_9: %.2f us\n", source, micro(values.quantile(0.999)));
  std::printf("%s.most: %.2f us\n", source, micro(values.most()));
}

std::size_t measure_quanta(const plan& made, clock_log& clocks) {
  std::vector<histogram> durations(made.cpus.size());
  gate together(made.cpus.size());
  // In parts, so that the clock is looked at meanwhile.
  constexpr int parts = 4;
  const std::size_t unbound =
      run_bound(numbers_of(made.cpus), [&](std::size_t index) {
        together.wait();
        for (int part = 0; part < parts; ++part) {
          clocks.look(index);
          durations[index].add_all(repeat_quantum(made.seconds / parts));
        }
        clocks.look(index);
      });
  histogram all;
  std::vector<double> noises;
  std::size_t worst = 0;
  for (std::size_t index = 0; index < durations.size(); ++index) {
    all.add_all(durations[index]);
    noises.push_back(noise_percent(durations[index]));
    if (noises[index] > noises[worst]) worst = index;
    std::printf("jitter.cpu.%d: noise %.3f %%, most %.2f us\n",
                made.cpus[index].number, noises[index],
                micro(durations[index].most()));
  }
  print_histogram("jitter.quantum", all);
  std::printf("jitter.noise.median: %.3f %%\n", quantile(noises, 0.5));
  std::printf("jitter.noise.most: %.3f %%\n", quantile(noises, 1));
  std::printf("jitter.noise.worst: cpu %d\n", made.cpus[worst].number);
  return unbound;
}

// One processor suffices for what is the same on all: the first.
void measure_calls(const plan& made) {
  double reading = 0;
  histogram delays, costs;
  const double seconds = made.seconds / 4;
  run_bound({made.cpus.front().number}, [&](std::size_t) {
    reading = clock_reading_cost(200);
    delays = wake_up_delays(seconds);
    costs = fork_exec_costs(seconds);
  });
  std::printf("jitter.clock_gettime: %.1f ns\n", reading);
  print_histogram("jitter.wakeup", delays);
  if (costs.count() > 0) {
    print_histogram("jitter.fork_exec", costs);
  } else {
    std::printf("failed: /bin/true could not be started\n");
  }
}

int body() {
  const plan made = make_plan();
  std::printf("jitter.cpus: %zu\n", made.cpus.size());
  clock_log clocks(made.cpus.size());
  const std::size_t unbound = measure_quanta(made, clocks);
  measure_calls(made);
  clocks.print();
  print_told_clocks(made.root, made.cpus);
  if (unbound == 0) return exit_done;
  return stop(program, exit_incomplete, "a thread could not be bound");
}

}  // namespace
}  // namespace zelk::perf::jitter

int main() {
  return zelk::perf::run_program(zelk::perf::jitter::program,
                                 zelk::perf::jitter::body);
}
