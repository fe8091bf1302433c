// Faults that administrators meet, by the checks that are shipped: each is
// found, on its nodes only, and by the check that says what to do about it.

#include <functional>
#include <map>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "src/check/judge/test_judging.h"

namespace zelk::check {

namespace {

constexpr std::size_t nodes = 40;
constexpr std::size_t bad = 13;
constexpr std::int64_t day = 86'400'000'000;  // microseconds

const check_set& shipped() {
  static const auto checks = check_set::read(
      {std::string(ZELK_SOURCE_DIR) + "/etc/checks"},
      std::string(ZELK_SOURCE_DIR) + "/share/zelkara/check.xsd");
  return *checks;
}

double noisy(double middle, std::size_t node) {
  const double step = static_cast<double>((node * 7919) % 101) / 101 - 0.5;
  return middle * (1 + 0.01 * step);
}

// Names of facts to what is done with them, all on a healthy cluster first.
struct healthy_cluster {
  explicit healthy_cluster(std::int64_t usec = run_builder::default_usec)
      : run(nodes, usec) {
    put_machine();
    put_software();
    put_measurements();
    put_counters();
  }

  fact_builder& of(const std::string& name) { return *facts.at(name); }

  run_builder run;

 private:
  fact_builder& keep(const std::string& name, fact_builder& made) {
    facts[name] = &made;
    return made;
  }
  fact_builder& text(const std::string& provider, const std::string& name,
                     const std::string& value) {
    return keep(name, run.text(provider, name).all(value));
  }
  fact_builder& list(const std::string& provider, const std::string& name,
                     const std::string& value) {
    return keep(name, run.list(provider, name).all(value));
  }
  fact_builder& number(const std::string& provider, const std::string& name,
                       double value) {
    return keep(name, run.number(provider, name).all(value));
  }
  fact_builder& count(const std::string& provider, const std::string& name,
                      double value) {
    return number(provider, name, value)
        .compare(facts::comparison::equal)
        .type(facts::value_type::integer);
  }

  void put_machine();
  void put_software();
  void put_measurements();
  void put_counters();

  std::map<std::string, fact_builder*> facts;
};

void healthy_cluster::put_machine() {
  list("cpu_topology", "cpu.model", "Xeon 6338");
  count("cpu_topology", "cpu.packages", 2);
  count("cpu_topology", "cpu.count", 128);
  list("cpu_flags_microcode", "cpuinfo.microcode", "0xd0003a5");
  text("cpuidle_smt", "smt.active", "true");
  list("cpufreq_policy", "cpufreq.scaling_governor", "performance");
  text("dmi_bios", "dmi.product_name", "R650");
  text("dmi_bios", "dmi.bios_version", "2.5");
  count("dmi_bios", "dimms.filled", 16);
  number("mem_total_numa", "mem.total", 263'000'000)
      .unit("KiB")
      .better(facts::better::higher);
  count("gpu_inventory", "gpu.cards", 4);
  text("ib_links", "ib.mlx5_0.fw_ver", "20.35");
  text("ib_links", "ib.mlx5_0.port1.state", "4: ACTIVE");
  text("ib_links", "ib.mlx5_0.port1.lanes", "4X HDR");
  number("pci_devices", "pci.links_below", 1).better(facts::better::lower);
  count("net_links", "net.eth0.mtu", 9000);
}

void healthy_cluster::put_software() {
  text("uname_os", "kernel.release", "5.14.0-427");
  list("sysctl", "sysctl.vm/swappiness", "10");
  list("sysctl", "sysctl.kernel/perf_event_max_sample_rate", "100000");
  list("modules", "modules", "ib_uverbs\nnvidia\nxfs");
  list("packages", "package.slurm.x86_64", "23.02");
  text("mounts", "mount./scratch.source", "server:/scratch");
  text("mounts", "mount./scratch.options", "rw,vers=4.2");
  text("fs_responsive", "filesystem./scratch.state", "ok");
  list("services", "units.failed", "");
  text("services", "service.slurmd", "active running");
  text("clocksource_time", "clock.source", "tsc");
  text("clocksource_time", "time.in_step", "true");
  auto& key = text("ssh_hostkeys", "ssh.hostkey.ED25519", "")
                  .compare(facts::comparison::unique);
  auto& boot =
      text("boot_uptime", "boot.id", "").compare(facts::comparison::unique);
  for (std::size_t node = 1; node <= nodes; ++node) {
    key.on(node, "SHA256:" + std::to_string(node));
    boot.on(node, "boot" + std::to_string(node));
  }
}

void healthy_cluster::put_measurements() {
  auto& triad = number("stream_triad", "stream.node.triad", 0)
                    .unit("MB/s")
                    .better(facts::better::higher);
  auto& rate = number("dgemm_hpl_mini", "dgemm.node.rate", 0)
                   .unit("GFLOP/s")
                   .better(facts::better::higher);
  auto& noise = number("latency_jitter", "jitter.noise.median", 0)
                    .unit("%")
                    .better(facts::better::lower);
  auto& heat =
      number("sensors_bmc", "hwmon.hottest", 0).better(facts::better::lower);
  auto& offset = number("clocksource_time", "time.offset", 0)
                     .unit("s")
                     .better(facts::better::lower);
  for (std::size_t node = 1; node <= nodes; ++node) {
    triad.on(node, noisy(203'400, node));
    rate.on(node, noisy(3800, node + 3));
    noise.on(node, 0.05 + 0.002 * static_cast<double>(node % 5));
    heat.on(node, 52 + static_cast<double>(node % 6));
    offset.on(node, 1e-6 * static_cast<double>(1 + node * 37 % 50));
  }
  number("fs_local_space", "space./tmp.available_share", 62)
      .better(facts::better::higher);
  number("raid_md", "md.degraded", 0).better(facts::better::lower);
}

void healthy_cluster::put_counters() {
  const auto counter = [this](const char* provider, const char* name) {
    keep(name, run.counter(provider, name).all(0.0));
  };
  counter("edac_ecc", "edac.ue");
  counter("edac_ecc", "edac.ce");
  counter("ib_counters", "ib.mlx5_0.port1.symbol_error");
  counter("cpu_throttle", "throttle.package.count");
  number("kmsg_errors", "kmsg.class.mce", 0).better(facts::better::lower);
  count("dstate_zombies", "tasks.stuck", 0);
}

judgement judged_as_shipped(const healthy_cluster& now,
                            const healthy_cluster* before = nullptr) {
  const run_data data = now.run.data();
  if (before == nullptr)
    return judge(data, nullptr, {}, shipped(), {}, default_options());
  const run_data old = before->run.data();
  return judge(data, &old, {}, shipped(), {}, default_options());
}

struct fault {
  const char* check;
  severity level;
  std::function<void(healthy_cluster&)> plant;
};

fault text_fault(const char* check, severity level, const char* fact,
                 const char* value) {
  return {check, level, [fact, value](healthy_cluster& cluster) {
            cluster.of(fact).on(bad, value);
          }};
}

fault number_fault(const char* check, severity level, const char* fact,
                   double value) {
  return {check, level, [fact, value](healthy_cluster& cluster) {
            cluster.of(fact).on(bad, value);
          }};
}

std::vector<fault> faults_of_one_node() {
  using enum severity;
  return {
      number_fault("mem-size", critical, "mem.total", 263e6 * 15 / 16),
      number_fault("mem-size", critical, "mem.total", 263e6 * 31 / 32),
      number_fault("dimm-missing", critical, "dimms.filled", 15),
      number_fault("stream-low", critical, "stream.node.triad", 203400 * 0.95),
      number_fault("dgemm-low", critical, "dgemm.node.rate", 3800 * 0.95),
      text_fault("bios-differs", warning, "dmi.bios_version", "2.3"),
      text_fault("sysctl-differs", warning, "sysctl.vm/swappiness", "60"),
      number_fault("clock-off", critical, "time.offset", 2.0),
      number_fault("clock-offset", warning, "time.offset", 0.2),
      text_fault("clock-not-synchronised", warning, "time.in_step", "false"),
      text_fault("clocksource-differs", warning, "clock.source", "hpet"),
      text_fault("fs-hung", critical, "filesystem./scratch.state", "hung"),
      text_fault("mount-differs", warning, "mount./scratch.options", "ro"),
      text_fault("ib-rate", critical, "ib.mlx5_0.port1.lanes", "2X HDR"),
      text_fault("ib-link-down", critical, "ib.mlx5_0.port1.state", "1: DOWN"),
      number_fault("pci-link-degraded", warning, "pci.links_below", 2),
      number_fault("ecc-uncorrected", critical, "edac.ue", 1),
      number_fault("ecc-corrected-many", warning, "edac.ce", 5000),
      number_fault("disk-full", critical, "space./tmp.available_share", 1.5),
      number_fault("disk-almost-full", warning, "space./tmp.available_share",
                   7),
      text_fault("service-failed", warning, "units.failed", "munge.service"),
      text_fault("service-not-running", warning, "service.slurmd",
                 "inactive dead"),
      text_fault("packages-differ", warning, "package.slurm.x86_64", "22.05"),
      text_fault("modules-missing", warning, "modules", "ib_uverbs\nxfs"),
      text_fault("microcode-differs", warning, "cpuinfo.microcode", "0xd1"),
      text_fault("smt-differs", warning, "smt.active", "false"),
      number_fault("cpu-count", critical, "cpu.count", 64),
      text_fault("governor-differs", warning, "cpufreq.scaling_governor",
                 "powersave"),
      number_fault("cpu-throttled", warning, "throttle.package.count", 40000),
      number_fault("gpu-missing", critical, "gpu.cards", 3),
      number_fault("jitter-high", warning, "jitter.noise.median", 2.5),
      number_fault("temperature-high", warning, "hwmon.hottest", 84),
      number_fault("raid-degraded", critical, "md.degraded", 1),
      number_fault("kmsg-hardware", warning, "kmsg.class.mce", 3),
      number_fault("tasks-stuck", warning, "tasks.stuck", 2),
      number_fault("net-mtu-differs", warning, "net.eth0.mtu", 1500),
      text_fault("kernel-differs", warning, "kernel.release", "5.14.0-362"),
  };
}

TEST(shipped_checks, find_nothing_on_a_healthy_cluster) {
  const healthy_cluster now, before(run_builder::default_usec - day);
  const judgement said = judged_as_shipped(now, &before);
  EXPECT_TRUE(said.findings.empty()) << everything_in(said);
  EXPECT_EQ(said.counts.healthy, nodes);
}

TEST(shipped_checks, find_each_fault_on_its_node_and_nothing_else) {
  const std::string node = "n" + std::to_string(bad);
  for (const fault& each : faults_of_one_node()) {
    SCOPED_TRACE(each.check);
    healthy_cluster cluster;
    each.plant(cluster);
    const judgement said = judged_as_shipped(cluster);
    ASSERT_TRUE(has_finding(said, each.check)) << everything_in(said);
    const finding& found = finding_of(said, each.check);
    EXPECT_EQ(nodes_of(found), node);
    EXPECT_EQ(name_of(found.level), std::string(name_of(each.level)));
    EXPECT_FALSE(found.causes.empty());
    EXPECT_FALSE(found.advice.empty());
    for (const finding& other : said.findings)
      EXPECT_EQ(nodes_of(other), node) << other.check;
  }
}

TEST(shipped_checks, find_a_mount_that_is_missing) {
  healthy_cluster cluster;
  cluster.of("mount./scratch.source").none_on(bad);
  cluster.of("mount./scratch.options").none_on(bad);
  const judgement said = judged_as_shipped(cluster);
  EXPECT_EQ(ids_of(said), std::vector<std::string>{"mount-missing"});
}

TEST(shipped_checks, find_a_host_key_that_two_nodes_have) {
  healthy_cluster cluster;
  cluster.of("ssh.hostkey.ED25519").on(bad, "SHA256:5");
  EXPECT_EQ(
      nodes_of(finding_of(judged_as_shipped(cluster), "hostkey-duplicate")),
      "n5 n13");
}

TEST(shipped_checks, find_a_mix_of_firmware_as_one) {
  healthy_cluster cluster;
  for (std::size_t node = 1; node <= nodes / 2; ++node)
    cluster.of("ib.mlx5_0.fw_ver").on(node, "20.31");
  const judgement said = judged_as_shipped(cluster);
  EXPECT_EQ(ids_of(said), std::vector<std::string>{"ib-firmware-differs"});
}

TEST(shipped_checks, find_counters_that_grow_and_nodes_that_were_restarted) {
  const healthy_cluster before(run_builder::default_usec - day);
  healthy_cluster now;
  now.of("ib.mlx5_0.port1.symbol_error").on(bad, 700.0);
  now.of("edac.ce").on(5, 40.0);
  now.of("boot.id").on(9, "another");
  const judgement said = judged_as_shipped(now, &before);
  EXPECT_EQ(nodes_of(finding_of(said, "ib-errors")), "n13");
  EXPECT_EQ(nodes_of(finding_of(said, "ecc-corrected")), "n5");
  EXPECT_EQ(nodes_of(finding_of(said, "node-rebooted")), "n9");
  EXPECT_EQ(said.findings.size(), 3U);
}

TEST(shipped_checks, find_a_new_kernel_everywhere_as_one) {
  const healthy_cluster before(run_builder::default_usec - day);
  healthy_cluster now;
  now.of("kernel.release").all("5.14.0-503");
  const judgement said = judged_as_shipped(now, &before);
  ASSERT_EQ(ids_of(said), std::vector<std::string>{"kernel-changed"});
  EXPECT_EQ(said.findings[0].level, severity::informational);
  EXPECT_EQ(said.counts.healthy, nodes);
}

TEST(shipped_checks, leave_alone_what_the_kernel_sets_by_itself) {
  healthy_cluster cluster;
  cluster.of("sysctl.kernel/perf_event_max_sample_rate").on(bad, "50000");
  EXPECT_TRUE(judged_as_shipped(cluster).findings.empty());
}

}  // namespace

}  // namespace zelk::check
