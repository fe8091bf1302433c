// What works, and slower or less steadily than it should.

#include "test/synthetic/faults.h"

namespace zelk::synthetic {

namespace {

void slow_memory(patient& ill) {
  for (const char* where : {"core", "node", "socket.0", "socket.1"}) {
    for (const char* kernel : {"copy", "scale", "add", "triad"}) {
      for (const char* what : {"best", "median", "worst"})
        ill.scale("stream_triad",
                  std::string("stream.") + where + "." + kernel + "." + what,
                  0.95);
    }
  }
}

void slow_processors(patient& ill) {
  for (const char* source :
       {"dgemm.node.rate", "dgemm.half.first", "dgemm.half.second",
        "dgemm.turn.best", "dgemm.cpu.", "dgemm.core.least",
        "dgemm.core.median", "dgemm.core.most", "clock.measured.",
        "clock.half."})
    ill.scale("dgemm_hpl_mini", source, 0.9);
}

void throttled(patient& ill) {
  ill.grow("cpu_throttle", "throttle.core_throttle_count_most", 2750);
  ill.grow("cpu_throttle", "throttle.core_throttle_total_time_ms_most", 93100);
  ill.set("cpu_throttle", "throttle.core_throttle_max_time_ms_most", "311");
  ill.set("cpu_throttle", "throttle.cpus_throttled", "48");
  ill.scale("dgemm_hpl_mini", "dgemm.half.second", 0.8);
  ill.scale("dgemm_hpl_mini", "dgemm.node.rate", 0.9);
  ill.set("dgemm_hpl_mini", "dgemm.half.loss", "20.4 %");
}

void jitter(patient& ill) {
  for (const char* source :
       {"jitter.noise.median", "jitter.noise.most", "jitter.cpu."})
    ill.scale("latency_jitter", source, 14);
  ill.scale("latency_jitter", "jitter.quantum.p99", 3);
  ill.scale("latency_jitter", "jitter.wakeup.p99", 4);
}

void slow_disk(patient& ill) {
  for (const char* source : {"disk.0.write:", "disk.0.read:"})
    ill.scale("disk_fs_rw", source, 0.8);
  for (const char* source : {"disk.0.write.block.", "disk.0.read.block."})
    ill.scale("disk_fs_rw", source, 1.25);
}

void slow_clock(patient& ill) {
  ill.set("clocksource_time",
          "/sys/devices/system/clocksource/clocksource0/current_clocksource",
          "hpet");
  ill.scale("latency_jitter", "jitter.clock_gettime", 45);
}

void powersave(patient& ill) {
  ill.replace("cpufreq_policy", ": performance", ": powersave");
}

}  // namespace

// A flat table.
std::vector<fault> speed_faults() {
  using enum spread;
  using enum onset;
  const std::vector<std::string> a = {"compute_a"},
                                 any = {"compute_a", "compute_b", "gpu"},
                                 intel = {"compute_a", "gpu"};
  return {
      {"slow-memory",
       "memory is 5 % slower",
       a,
       one,
       before,
       slow_memory,
       {{}, {"stream.*"}}},
      {"slow-processors",
       "processors are 10 % slower",
       a,
       one,
       before,
       slow_processors,
       {{}, {"dgemm.*"}}},
      {"throttled",
       "processors slowed down because of heat",
       intel,
       one,
       last_run,
       throttled,
       {{}, {"throttle.*", "dgemm.*"}}},
      {"jitter",
       "work is disturbed ten times as often",
       any,
       one,
       before,
       jitter,
       {{}, {"jitter.*"}}},
      {"slow-disk",
       "a disk is 20 % slower",
       any,
       one,
       before,
       slow_disk,
       {{}, {"disk.0.*"}}},
      {"slow-clock",
       "the clock source is not the processors' own",
       any,
       one,
       before,
       slow_clock,
       {{}, {"clock.source", "jitter.clock_gettime"}}},
      {"powersave",
       "the processors are told to save power",
       intel,
       one,
       before,
       powersave,
       {{}, {"cpufreq.*"}}},
  };
}

}  // namespace zelk::synthetic
