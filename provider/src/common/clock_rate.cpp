// A chain of instructions that each need the result of the one before runs at
// one instruction a cycle, whatever else the processor could do beside it. The
// exclusive-or of two registers takes one cycle on every processor that we know
// of. An addition would not do: newer ones add small constants while renaming
// registers, in no time at all, and the chain would tell twice the clock.
//
// An interrupt, or another user of the processor, makes a burst longer and the
// clock seem slow. So several short bursts are taken and the fastest counts.
#include "provider/src/common/clock_rate.h"

#include <dirent.h>
#include <time.h>

#include <algorithm>
#include <charconv>
#include <cstdint>
#include <cstdio>
#include <fstream>
#include <memory>
#include <string_view>

#include "provider/src/common/statistics.h"

namespace zelk::perf {
namespace {

#if defined(__x86_64__)
#define ZELK_CHAIN ".rept 64\n\txorq %1, %0\n\t.endr"
#elif defined(__aarch64__)
#define ZELK_CHAIN ".rept 64\n\teor %0, %0, %1\n\t.endr"
#endif

constexpr int links = 64;  // of the chain above

#ifdef ZELK_CHAIN
double burst_mhz() {
  constexpr int turns = 500;  // 8 us at 4 GHz
  std::uint64_t chain = 1;
  const std::uint64_t other = 2;
  const double start = now();
  for (int turn = 0; turn < turns; ++turn)
    __asm__ volatile(ZELK_CHAIN : "+r"(chain) : "r"(other));
  const double seconds = now() - start;
  return seconds > 0 ? turns * links / seconds / 1e6 : 0;
}
#else
double burst_mhz() {
  return 0;
}
#endif

double number_of(std::string_view text) {
  const std::size_t digit = text.find_first_of("0123456789");
  if (digit == std::string_view::npos) return 0;
  double number = 0;
  std::from_chars(text.data() + digit, text.data() + text.size(), number);
  return number;
}

// "cpu MHz" of each block of /proc/cpuinfo, whose blocks are in the order of
// the processors.
double mhz_in_cpuinfo(const std::string& root, int number) {
  std::ifstream file(root + "/proc/cpuinfo");
  bool ours = false;
  for (std::string line; std::getline(file, line);) {
    if (line.starts_with("processor"))
      ours = static_cast<int>(number_of(line)) == number;
    if (ours && line.starts_with("cpu MHz")) return number_of(line);
  }
  return 0;
}

bool is_processor_sensor(const std::string& name) {
  return name == "coretemp" || name == "k10temp" || name == "zenpower" ||
         name == "cpu_thermal" || name == "fam15h_power";
}

double hottest_of(const std::string& folder) {
  double hottest = 0;
  // A processor has one sensor a core and one a package.
  for (int sensor = 1; sensor <= 256; ++sensor) {
    const std::string text =
        first_line(folder + "/temp" + std::to_string(sensor) + "_input");
    hottest = std::max(hottest, number_of(text) / 1000);
  }
  return hottest;
}

struct close_folder {
  void operator()(DIR* folder) const { ::closedir(folder); }
};

}  // namespace

double now() {
  timespec time{};
  ::clock_gettime(CLOCK_MONOTONIC, &time);
  return static_cast<double>(time.tv_sec) +
         static_cast<double>(time.tv_nsec) * 1e-9;
}

double thread_seconds() {
  timespec time{};
  ::clock_gettime(CLOCK_THREAD_CPUTIME_ID, &time);
  return static_cast<double>(time.tv_sec) +
         static_cast<double>(time.tv_nsec) * 1e-9;
}

double share_clock::percent() const {
  const double wall = now() - wall_;
  if (wall <= 0) return 100;
  return std::min((thread_seconds() - own_) / wall * 100, 100.0);
}

double measured_mhz() {
  double best = 0;
  for (int burst = 0; burst < 6; ++burst)
    best = std::max(best, burst_mhz());
  return best;
}

double told_mhz(const std::string& root, int number) {
  const std::string text =
      first_line(root + "/sys/devices/system/cpu/cpu" + std::to_string(number) +
                 "/cpufreq/scaling_cur_freq");
  const double khz = number_of(text);
  return khz > 0 ? khz / 1000 : mhz_in_cpuinfo(root, number);
}

double hottest_sensor(const std::string& root) {
  const std::string folder = root + "/sys/class/hwmon";
  const std::unique_ptr<DIR, close_folder> entries(::opendir(folder.c_str()));
  double hottest = 0;
  while (entries) {
    const dirent* entry = ::readdir(entries.get());
    if (entry == nullptr) break;
    if (entry->d_name[0] == '.') continue;
    const std::string sensor = folder + "/" + entry->d_name;
    if (is_processor_sensor(first_line(sensor + "/name")))
      hottest = std::max(hottest, hottest_of(sensor));
  }
  return hottest;
}

void clock_log::print() const {
  std::vector<double> all, first, second;
  for (const std::vector<double>& looks : samples_) {
    const auto middle =
        looks.begin() + static_cast<std::ptrdiff_t>(looks.size() / 2);
    all.insert(all.end(), looks.begin(), looks.end());
    first.insert(first.end(), looks.begin(), middle);
    second.insert(second.end(), middle, looks.end());
  }
  const spread clocks = spread_of(all);
  if (clocks.most <= 0) {
    std::printf("missing: clock.measured\n");
    return;
  }
  std::printf("clock.measured.least: %.0f MHz\n", clocks.least);
  std::printf("clock.measured.median: %.0f MHz\n", clocks.median);
  std::printf("clock.measured.most: %.0f MHz\n", clocks.most);
  std::printf("clock.half.first: %.0f MHz\n", quantile(first, 0.5));
  std::printf("clock.half.second: %.0f MHz\n", quantile(second, 0.5));
}

void print_told_clocks(const std::string& root, const std::vector<cpu>& cpus) {
  std::vector<double> told;
  // One of each socket's processors for each sixteen: the kernel looks at
  // /proc/cpuinfo as a whole for each question.
  for (std::size_t index = 0; index < cpus.size();
       index += 1 + cpus.size() / 16) {
    told.push_back(told_mhz(root, cpus[index].number));
  }
  const spread clocks = spread_of(told);
  if (clocks.most > 0) {
    std::printf("clock.told.least: %.0f MHz\n", clocks.least);
    std::printf("clock.told.most: %.0f MHz\n", clocks.most);
  } else {
    std::printf("missing: clock.told\n");
  }
  const std::string governor =
      cpus.empty() ? ""
                   : first_line(root + "/sys/devices/system/cpu/cpu" +
                                std::to_string(cpus.front().number) +
                                "/cpufreq/scaling_governor");
  if (governor.empty()) {
    std::printf("missing: clock.governor\n");
  } else {
    std::printf("clock.governor: %s\n", governor.c_str());
  }
}

}  // namespace zelk::perf
