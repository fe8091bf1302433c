// Memory bandwidth by the four STREAM kernels: of one core, of each socket, and
// of all of them together.
//
//   STREAM_ARRAY_MIB   size of each of the three arrays; 0: four times the
//                      last-level caches of the cores in use, and no more than
//                      a quarter of the available memory for the three
//   STREAM_SECONDS     for all measurements together
//   STREAM_TIMES       passes of each measurement, at most
//
// A value that overflows is no danger: each pass multiplies by 15, so there are
// at most 250 passes.
#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <string>
#include <vector>

#include "provider/src/common/clock_rate.h"
#include "provider/src/common/cpus.h"
#include "provider/src/common/settings.h"
#include "provider/src/common/statistics.h"
#include "provider/src/stream_triad/measure.h"

namespace zelk::perf::stream {
namespace {

constexpr const char* program = "stream_triad";
constexpr std::uint64_t mib = 1 << 20;
constexpr int most_passes = 250;

struct plan {
  std::string root;
  std::vector<cpu> cores;
  std::uint64_t asked_bytes = 0;  // of each array; 0: by the caches
  std::uint64_t memory = 0;       // bytes available; 0: not known
  double seconds = 0;             // for each measurement
  int times = 0;
};

// Of each array, for measuring some of the cores: the size at which what one
// pass leaves in their caches is of no use to the next.
std::uint64_t array_bytes(const plan& made, const cache_sizes& caches) {
  if (made.asked_bytes > 0) return made.asked_bytes;
  const std::uint64_t wanted =
      caches.last_sum > 0 ? 4 * caches.last_sum : 256 * mib;
  const std::uint64_t most = made.memory / 4 / 3;
  return made.memory > 0 ? std::max(std::min(wanted, most), mib) : wanted;
}

plan make_plan() {
  plan made;
  made.root = root_folder();
  made.cores = one_per_core(place_cpus(made.root, allowed_cpus()));
  made.memory = available_memory(made.root);
  made.asked_bytes = static_cast<std::uint64_t>(
                         number_setting("STREAM_ARRAY_MIB", 0, 0, 1 << 24)) *
                     mib;
  if (made.memory > 0 && made.asked_bytes * 3 > made.memory)
    throw usage_error("STREAM_ARRAY_MIB is " +
                      std::to_string(made.asked_bytes / mib) +
                      ", expected three arrays that fit in the " +
                      std::to_string(made.memory / mib) + " MiB available");
  made.times =
      static_cast<int>(number_setting("STREAM_TIMES", 40, 2, most_passes));
  const double asked = seconds_setting("STREAM_SECONDS", 10, 86400);
  const auto sockets = static_cast<double>(packages_of(made.cores).size());
  // One core, the node, and each socket where there are several. Filling and
  // checking take about as long as some passes.
  const double measurements = 2 + (sockets > 1 ? sockets : 0);
  made.seconds = std::min(asked, 0.7 * seconds_allowed()) / measurements;
  return made;
}

void print_sizes(const std::string& place, std::uint64_t array,
                 const cache_sizes& caches) {
  const auto in_mib = [](std::uint64_t bytes) {
    return static_cast<double>(bytes) / static_cast<double>(mib);
  };
  const std::string source = "stream." + place;
  std::printf("%s.array: %.0f MiB\n", source.c_str(), in_mib(array));
  std::printf("%s.caches: %.0f MiB\n", source.c_str(), in_mib(caches.last_sum));
  if (array < 4 * caches.last_sum)
    std::printf(
        "%s.note: arrays below 4 times the caches: these figures mix "
        "memory and caches\n",
        source.c_str());
}

void print_rates(const std::string& place, const outcome& result) {
  for (int which = 0; which < kernel_count; ++which) {
    const spread rates = spread_of(result.rates[which]);
    const std::string source = "stream." + place + "." + kernel_names[which];
    std::printf("%s.best: %.1f MB/s\n", source.c_str(), rates.most);
    std::printf("%s.median: %.1f MB/s\n", source.c_str(), rates.median);
    std::printf("%s.worst: %.1f MB/s\n", source.c_str(), rates.least);
    std::printf("%s.spread: %.1f %%\n", source.c_str(),
                percent_below(rates.least, rates.most));
  }
}

// Returns whether every thread stayed where it belongs.
bool measure_place(const std::string& place, const std::vector<cpu>& cores,
                   const plan& made) {
  const cache_sizes caches = read_caches(made.root, cores);
  const std::uint64_t array = array_bytes(made, caches);
  clock_log clocks(cores.size());
  const outcome result = measure(
      {numbers_of(cores), array / sizeof(double), made.times, made.seconds},
      clocks);
  print_sizes(place, array, caches);
  std::printf("stream.%s.threads: %zu\n", place.c_str(), cores.size());
  std::printf("stream.%s.passes: %d\n", place.c_str(), result.passes);
  std::printf("stream.%s.cpu_share: %.1f %%\n", place.c_str(),
              spread_of(result.shares).least);
  print_rates(place, result);
  std::printf("stream.%s.wrong: %zu\n", place.c_str(), result.wrong_elements);
  if (place == "node") clocks.print();
  return result.unbound_threads == 0;
}

int body() {
  const plan made = make_plan();
  const std::vector<int> sockets = packages_of(made.cores);
  std::printf("stream.sockets: %zu\n", sockets.size());
  bool bound = measure_place("core", {made.cores.front()}, made);
  for (const int socket : sockets) {
    if (sockets.size() == 1) break;
    bound &= measure_place("socket." + std::to_string(socket),
                           cpus_of_package(made.cores, socket), made);
  }
  bound &= measure_place("node", made.cores, made);
  print_told_clocks(made.root, made.cores);
  if (bound) return exit_done;
  return stop(program, exit_incomplete, "a thread could not be bound");
}

}  // namespace
}  // namespace zelk::perf::stream

int main() {
  return zelk::perf::run_program(zelk::perf::stream::program,
                                 zelk::perf::stream::body);
}
