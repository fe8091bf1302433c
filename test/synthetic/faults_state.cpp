// What a machine has got into: hung, full, restarted, unsynchronised, busy.

#include "test/synthetic/faults.h"

namespace zelk::synthetic {

namespace {

using check::severity;

void clock_off(patient& ill) {
  ill.replace("clocksource_time", "System time     : 0.",
              "System time     : 2.");
}

void clock_not_synchronised(patient& ill) {
  ill.replace("clocksource_time", "NTPSynchronized=yes", "NTPSynchronized=no");
  ill.replace("clocksource_time", "Leap status     : Normal",
              "Leap status     : Not synchronised");
  ill.set("clocksource_time", "kernel_clock.synchronised", "no");
  ill.set("clocksource_time", "time.in_step", "no");
}

void hung_mount(patient& ill) {
  ill.replace("fs_responsive", "filesystem: ok nfs4 /home",
              "filesystem: hung nfs4 /home");
  ill.grow("fs_responsive", "filesystems.ok", -1);
  ill.set("fs_responsive", "filesystems.hung", "1");
}

void stale_mount(patient& ill) {
  ill.replace("fs_responsive", "filesystem: ok nfs4 /opt/modules",
              "filesystem: error nfs4 /opt/modules Stale file handle");
  ill.grow("fs_responsive", "filesystems.ok", -1);
  ill.set("fs_responsive", "filesystems.error", "1");
}

void disk_full(patient& ill) {
  const std::string total = ill.of_class().values.at("disk_kib");
  ill.remove("fs_local_space", "/: ext4");
  ill.add("fs_local_space",
          "/: ext4 total_kib=" + total +
              " available_kib=2100000 available_percent=0.4 inodes=29000000 "
              "inodes_free=28400000 inodes_free_percent=97.9");
}

void inodes_used_up(patient& ill) {
  const std::string total = ill.of_class().values.at("disk_kib");
  ill.remove("fs_local_space", "/tmp: ext4");
  ill.add("fs_local_space",
          "/tmp: ext4 total_kib=" + total + " available_kib=" + total +
              " available_percent=90.0 inodes=29000000 inodes_free=31200 "
              "inodes_free_percent=0.1");
}

void failed_unit(patient& ill) {
  ill.add("services", "unit_failed: munge.service loaded failed");
  ill.replace("services", "service: munge.service active running",
              "service: munge.service failed failed");
}

void zombies(patient& ill) {
  ill.set("dstate_zombies", "tasks.zombies", "212");
  ill.grow("dstate_zombies", "tasks.total", 212);
}

void stuck_processes(patient& ill) {
  ill.set("dstate_zombies", "tasks.uninterruptible", "9");
  ill.set("dstate_zombies", "tasks.stuck", "9");
  ill.add("dstate_zombies", "stuck: rpc_wait_bit_killable (9)");
}

void stray_job(patient& ill) {
  ill.add("stray_processes", "process: 4711 solver.x x 48 91226112");
  ill.set("stray_processes", "processes.of_users", "48");
  ill.set("stray_processes", "processes.of_users_kib", "91226112");
  ill.set("stray_processes", "/proc/loadavg",
          "48.02 48.11 47.93 49/1301 123456");
}

void memory_leak(patient& ill) {
  ill.scale("mem_free_frag", "/proc/meminfo: MemAvailable", 0.66);
}

void slab_leak(patient& ill) {
  ill.scale("mem_free_frag", "/proc/meminfo: SUnreclaim", 10);
}

void card_fell_off(patient& ill) {
  ill.set("kmsg_errors", "kmsg.class.xid", "2");
  ill.set("kmsg_errors", "kmsg.level.err", "2");
  ill.add("kmsg_errors",
          "kmsg.text: xid NVRM: Xid (PCI:0000:1b:00): 79, pid #, name=python3, "
          "GPU has fallen off the bus.: 2 times");
}

void machine_check(patient& ill) {
  ill.set("kmsg_errors", "kmsg.class.mce", "3");
  ill.set("kmsg_errors", "kmsg.level.emerg", "3");
  ill.add("kmsg_errors",
          "kmsg.text: mce mce: [Hardware Error]: Machine check events logged: "
          "3 times");
}

void out_of_memory(patient& ill) {
  ill.set("kmsg_errors", "kmsg.class.oom", "5");
  ill.set("kmsg_errors", "kmsg.level.err", "5");
  ill.replace("mem_free_frag", "oom_kill 0", "oom_kill 5");
}

void rebooted(patient&) {}  // booted_hours_ago says it all

}  // namespace

// A flat table.
std::vector<fault> state_faults() {
  using enum spread;
  using enum onset;
  const std::vector<std::string> a = {"compute_a"}, gpu = {"gpu"},
                                 any = {"compute_a", "compute_b", "gpu",
                                        "login"},
                                 compute = {"compute_a", "compute_b", "gpu"};
  return {
      {"clock-off",
       "the clock is off by 2 s",
       any,
       one,
       last_run,
       clock_off,
       {{}, {"time.offset"}}},
      {"clock-not-synchronised",
       "nobody sets the clock",
       any,
       one,
       last_run,
       clock_not_synchronised,
       {{}, {"time.*"}}},
      {"hung-mount",
       "/home does not answer",
       any,
       one,
       last_run,
       hung_mount,
       {{}, {"filesystem*"}, severity::critical}},
      {"stale-mount",
       "/opt/modules gives errors",
       any,
       one,
       last_run,
       stale_mount,
       {{}, {"filesystem*"}}},
      {"disk-full",
       "/ has 0.4 % left",
       any,
       one,
       last_run,
       disk_full,
       {{}, {"space./.*"}}},
      {"inodes-used-up",
       "/tmp has no room for more files",
       any,
       one,
       last_run,
       inodes_used_up,
       {{}, {"space./tmp.*"}}},
      {"failed-unit",
       "a service has failed",
       any,
       one,
       last_run,
       failed_unit,
       {{}, {"units.failed", "service.munge"}}},
      {"zombies",
       "212 dead processes that nobody buries",
       any,
       one,
       last_run,
       zombies,
       {{}, {"tasks.zombies"}}},
      {"stuck-processes",
       "nine processes wait for ever",
       any,
       one,
       last_run,
       stuck_processes,
       {{}, {"tasks.stuck*"}}},
      {"stray-job",
       "a job's processes are left over",
       compute,
       one,
       last_run,
       stray_job,
       {{}, {"processes.*", "load.*"}}},
      {"memory-leak",
       "a third of the memory is gone",
       compute,
       one,
       last_run,
       memory_leak,
       {{}, {"mem.available"}}},
      {"slab-leak",
       "the kernel holds ten times as much",
       compute,
       one,
       last_run,
       slab_leak,
       {{}, {"mem.slab_unreclaimable"}}},
      {"card-fell-off",
       "an accelerator fell off the bus",
       gpu,
       one,
       last_run,
       card_fell_off,
       {{}, {"kmsg.*"}}},
      {"machine-check",
       "machine check events",
       any,
       one,
       last_run,
       machine_check,
       {{}, {"kmsg.*"}}},
      {"out-of-memory",
       "processes were killed for memory",
       any,
       one,
       last_run,
       out_of_memory,
       {{}, {"kmsg.*", "mem.events.oom_kill"}}},
      {"rebooted",
       "it was booted since the run before",
       any,
       one,
       last_run,
       rebooted,
       {{}, {"boot.*"}, severity::informational},
       7},
  };
}

}  // namespace zelk::synthetic
