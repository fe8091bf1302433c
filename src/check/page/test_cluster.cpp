#include "src/check/page/test_cluster.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <map>
#include <random>

namespace zelk::check {

namespace {

constexpr std::int64_t second = 1'000'000;
constexpr std::int64_t day = 86'400 * second;
constexpr std::int64_t started = 1'763'690'400 * second;  // 2025-11-21 02:00

const std::vector<std::string>& providers() {
  static const std::vector<std::string> all = {
      "block_devices",    "boot_uptime",
      "clocksource_time", "cpu_flags_microcode",
      "cpu_mitigations",  "cpu_throttle",
      "cpu_topology",     "cpufreq_policy",
      "cpuidle_smt",      "dgemm",
      "disk_smart_nvme",  "dmi_bios",
      "dstate_zombies",   "edac_ecc",
      "env_profile",      "file_hashes",
      "fs_local_space",   "fs_responsive",
      "gpu_errors",       "gpu_inventory",
      "ib_counters",      "ib_links",
      "kernel_cmdline",   "kmsg_errors",
      "libs_tools",       "mem_free_frag",
      "mem_total_numa",   "modules",
      "mounts",           "net_links",
      "net_routes_dns",   "packages",
      "pci_devices",      "raid_md",
      "sensors_bmc",      "services",
      "slurm_node",       "ssh_hostkeys",
      "storage_io",       "stray_processes",
      "stream",           "sysctl",
      "thp_hugepages",    "uname_os",
      "users_limits",     "security_state"};
  return all;
}

struct trouble {
  const char* check;
  const char* provider;
  const char* fact;
  const char* title;
  const char* message;
  int score;
};

// What goes wrong, one kind a line. This is a flat table.
constexpr trouble troubles[] = {
    {"mem-size", "mem_total_numa", "mem.total",
     "less memory than the peers have",
     "224 GiB; the others of the class have 256 GiB", 85},
    {"stream-low", "stream", "stream.node.triad",
     "memory bandwidth of a node clearly below its peers",
     "168.9 GB/s; peers 203.4 +-1.1", 80},
    {"bios-differs", "dmi_bios", "bios.version",
     "the firmware is not the peers'", "2.3; the others have 2.5", 50},
    {"sysctl-differs", "sysctl", "sysctl.vm.swappiness",
     "a kernel setting is not the peers'",
     "vm.swappiness = 60; the others have 1", 40},
    {"clock-offset", "clocksource_time", "clock.offset", "the clock is off",
     "4.1 s (limit 1 s)", 60},
    {"link-width", "pci_devices", "pci.0.width",
     "a card is linked at half its width",
     "x8; the card and its peers can do x16", 76},
    {"ib-errors", "ib_counters", "ib.0.symbol_errors", "a link counts errors",
     "1,204 since the baseline", 70},
    {"disk-full", "fs_local_space", "fs.tmp.used",
     "a local file system is nearly full", "/tmp 97 %", 55},
    {"mount-missing", "mounts", "mount.scratch.source", "a mount is missing",
     "/scratch is not mounted; the others have it", 90},
    {"mount-hung", "fs_responsive", "fs.home.state", "a mount does not answer",
     "/home did not answer in 5 s", 95},
    {"gpu-missing", "gpu_inventory", "gpu.count", "a GPU is missing",
     "7; the others have 8", 92},
    {"governor-differs", "cpufreq_policy", "cpufreq.governor",
     "the processors save power", "powersave; the others have performance", 45},
    {"package-differs", "packages", "packages.names",
     "other packages than the peers", "3 packages are missing", 30},
    {"slurmd-version", "slurm_node", "slurm.version",
     "another version of the batch system", "22.05.7; the others have 22.05.8",
     35},
    {"zombies", "dstate_zombies", "processes.zombies",
     "processes that nobody waits for", "1,310 zombies", 28},
    {"note", "boot_uptime", "boot.uptime", "a node was restarted",
     "up 3 h; the others 41 days", 10},
};

// Four classes, the largest first.
std::string class_of(std::size_t place, std::size_t nodes) {
  if (place < nodes * 6 / 10) return "A";
  if (place < nodes * 85 / 100) return "B";
  if (place < nodes * 97 / 100) return "C";
  return "G";
}

void add_nodes(judgement& out, std::size_t nodes) {
  const std::size_t width = std::to_string(nodes).size();
  std::map<std::string, std::vector<std::string>> classes;
  for (std::size_t i = 0; i < nodes; ++i) {
    node_view one;
    one.name = fmt::format("node{:0{}}", i + 1, width);
    one.class_name = class_of(i, nodes);
    one.role = one.class_name == "G" ? "enhanced" : "compute";
    one.subcluster = fmt::format("island {}", i * 8 / nodes + 1);
    one.what = verdict::healthy;
    one.cells.assign(out.columns.size(), cell_state::ok);
    for (std::size_t c = 0; c < out.columns.size(); ++c)
      if (out.columns[c].starts_with("gpu") && one.class_name != "G")
        one.cells[c] = cell_state::not_applicable;
    classes[one.class_name].push_back(one.name);
    out.nodes.push_back(std::move(one));
  }
  for (const auto& [name, members] : classes)
    out.classes.push_back({name,
                           {{"cpu.model", "Example 9654 " + name},
                            {"cpu.sockets", "2"},
                            {"mem.total", "268435456"}},
                           members,
                           members.size() >= 5,
                           members.size() >= 5 ? "" : "too few to compare"});
}

std::size_t column_of(const judgement& in, std::string_view name) {
  const auto found = std::find(in.columns.begin(), in.columns.end(), name);
  return static_cast<std::size_t>(found - in.columns.begin());
}

void mark(judgement& out, std::size_t place, const finding& of) {
  node_view& node = out.nodes[place];
  node.findings.push_back(static_cast<std::uint32_t>(out.findings.size()));
  const bool critical = of.level == severity::critical;
  const bool warning = of.level == severity::warning;
  node.cells[column_of(out, of.provider)] =
      critical ? cell_state::crit
               : (warning ? cell_state::warn : cell_state::info);
  if (critical)
    node.what = verdict::unhealthy;
  else if (warning && node.what == verdict::healthy)
    node.what = verdict::suspect;
}

finding finding_of(const trouble& kind, std::size_t number) {
  finding out;
  out.check = kind.check;
  out.title = kind.title;
  out.score = kind.score;
  out.level = severity_of(kind.score);
  out.state = number % 3 == 0 ? finding_state::unchanged : finding_state::fresh;
  out.provider = kind.provider;
  out.fact = kind.fact;
  out.message = kind.message;
  out.causes = {"a part is broken or missing", "a setting was changed by hand"};
  out.fingerprint = fmt::format("sha256:{:064x}", number * 2654435761U + 17);
  out.since = run_name{number % 3 == 0 ? 391 : 412, started};
  return out;
}

void add_findings(judgement& out, std::mt19937& chance) {
  const std::size_t nodes = out.nodes.size();
  const std::size_t wanted = std::max<std::size_t>(8, nodes / 50);
  std::vector<finding> found;
  std::vector<std::vector<std::size_t>> places;
  for (std::size_t i = 0; i < wanted; ++i) {
    const trouble& kind = troubles[i % std::size(troubles)];
    const std::size_t place = chance() % nodes;
    const auto same = std::find_if(found.begin(), found.end(), [&](auto& one) {
      return one.check == kind.check &&
             one.class_name == out.nodes[place].class_name;
    });
    const auto at = static_cast<std::size_t>(same - found.begin());
    if (same == found.end()) {
      found.push_back(finding_of(kind, i));
      found.back().class_name = out.nodes[place].class_name;
      places.emplace_back();
    }
    places[at].push_back(place);
  }
  std::vector<std::size_t> order(found.size());
  for (std::size_t i = 0; i < order.size(); ++i)
    order[i] = i;
  std::stable_sort(order.begin(), order.end(), [&](auto a, auto b) {
    return found[a].score > found[b].score;
  });
  for (const std::size_t at : order) {
    finding& one = found[at];
    std::sort(places[at].begin(), places[at].end());
    places[at].erase(std::unique(places[at].begin(), places[at].end()),
                     places[at].end());
    for (const std::size_t place : places[at]) {
      one.nodes.push_back(out.nodes[place].name);
      mark(out, place, one);
    }
    one.advice = {
        fmt::format("zelk-collect {} -w {}", one.provider, one.nodes.front())};
    out.findings.push_back(one);
  }
}

void add_silence(judgement& out, std::mt19937& chance) {
  coverage_group silent;
  silent.reason = "ssh: connect to host: Connection timed out";
  const std::size_t wanted = std::max<std::size_t>(2, out.nodes.size() / 400);
  for (std::size_t i = 0; i < wanted; ++i) {
    node_view& node = out.nodes[chance() % out.nodes.size()];
    node.cells.assign(node.cells.size(), cell_state::no_data);
    node.cells.front() = cell_state::crit;
    node.what = verdict::unhealthy;
    silent.nodes.push_back(node.name);
  }
  std::sort(silent.nodes.begin(), silent.nodes.end());
  coverage_group stopped;
  stopped.what = answer::timed_out;
  stopped.provider = "stream";
  stopped.reason = "stopped after 300 s (limit 300 s)";
  stopped.nodes = {out.nodes[out.nodes.size() / 3].name};
  node_view& slow = out.nodes[out.nodes.size() / 3];
  slow.cells[column_of(out, "stream")] = cell_state::timeout;
  if (slow.what == verdict::healthy) slow.what = verdict::unknown;
  out.coverage = {silent, stopped};
  out.unread = {{"sensors_bmc", "sensor.fan.1", "no line names it", {0, 1}}};
}

distribution values_of(const judgement& in, const std::string& fact,
                       const std::string& class_name, double centre,
                       std::mt19937& chance, bool odd) {
  distribution out;
  out.fact = fact;
  out.provider = "stream";
  out.unit = "GB/s";
  out.class_name = class_name;
  out.direction = facts::better::higher;
  std::normal_distribution<double> noise(centre, centre * .006);
  for (const node_view& node : in.nodes) {
    if (node.class_name != class_name) continue;
    const bool low = odd && chance() % 400 == 0;
    const double value = noise(chance) * (low ? .86 : 1);
    out.values.push_back(value);
    if (low)
      out.outliers.push_back({node.name, fmt::format("{:.1f}", value), "",
                              value, -18.2, (value / centre - 1) * 100});
  }
  std::sort(out.values.begin(), out.values.end());
  out.median = centre;
  out.mad = centre * .004;
  return out;
}

void add_metrics(judgement& out, std::mt19937& chance) {
  for (int i = 0; i < 40; ++i)
    for (const class_view& of : out.classes)
      out.distributions.push_back(
          values_of(out,
                    i == 0 ? "stream.node.triad"
                           : fmt::format("bench.kernel{:02}.rate", i),
                    of.name, 120.0 + 7 * i, chance, i < 8));
}

void add_differences(judgement& out, std::mt19937& chance) {
  for (int i = 0; i < 120; ++i) {
    const class_view& of = out.classes[static_cast<std::size_t>(i) % 3];
    difference one;
    one.fact = fmt::format("sysctl.kernel.setting_{}", i);
    one.provider = "sysctl";
    one.class_name = of.name;
    const std::size_t odd =
        i < 12 ? of.nodes.size() / 2 : chance() % of.nodes.size();
    std::vector<std::string> most = of.nodes;
    most.erase(most.begin() + static_cast<std::ptrdiff_t>(odd));
    one.groups = {
        {fmt::format("module options a=1 b={} c=3", i), most},
        {fmt::format("module options a=1 b={} c=4", i), {of.nodes[odd]}}};
    out.differences.push_back(one);
  }
  out.equal_facts = 2140;
}

void add_history(judgement& out, std::mt19937& chance) {
  for (int i = 0; i < 30; ++i) {
    history_entry one;
    one.run = out.run;
    one.run.number = 383 + i;
    one.run.started_usec = started - (29 - i) * day;
    one.counts = out.counts;
    for (const node_view& node : out.nodes)
      if (node.what != verdict::healthy && (i == 29 || chance() % 3 == 0))
        one.nodes.emplace_back(node.name, node.what);
    one.counts.unhealthy = one.counts.suspect = one.counts.unknown = 0;
    for (const auto& [node, what] : one.nodes)
      ++(what == verdict::unhealthy ? one.counts.unhealthy
         : what == verdict::suspect ? one.counts.suspect
                                    : one.counts.unknown);
    one.counts.healthy = out.nodes.size() - one.nodes.size();
    out.history.push_back(std::move(one));
  }
}

}  // namespace

judgement cluster_of(std::size_t nodes) {
  std::mt19937 chance(static_cast<std::uint32_t>(nodes));
  judgement out;
  out.run.number = 412;
  out.run.label = "nightly";
  out.run.state = "partial";
  out.run.command_line = "zelk-collect @nightly --label nightly";
  out.run.started_usec = started;
  out.run.ended_usec = started + 312 * second;
  out.now_usec = started + std::int64_t{10'800} * second;
  out.columns = {"reach"};
  for (const std::string& one : providers())
    out.columns.push_back(one);
  add_nodes(out, nodes);
  add_findings(out, chance);
  add_silence(out, chance);
  for (const node_view& node : out.nodes)
    ++(node.what == verdict::healthy     ? out.counts.healthy
       : node.what == verdict::suspect   ? out.counts.suspect
       : node.what == verdict::unhealthy ? out.counts.unhealthy
                                         : out.counts.unknown);
  out.overall = verdict::unhealthy;
  out.run.nodes_expected = nodes;
  out.run.nodes = nodes - out.coverage.front().nodes.size();
  out.run.results_expected = nodes * 46;
  out.run.results = out.run.nodes * 46 - 1;
  out.baseline = out.run;
  out.baseline->number = 391;
  out.baseline->started_usec = started - 20 * day;
  add_metrics(out, chance);
  add_differences(out, chance);
  add_history(out, chance);
  for (const std::string& one : providers())
    out.providers.emplace_back(one, 1);
  out.with.z = 3.5;
  out.with.min_effect = 5;
  out.with.min_peers = 5;
  out.with.peers_by = "class";
  return out;
}

}  // namespace zelk::check
