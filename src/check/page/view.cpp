#include "src/check/page/view.h"

#include <algorithm>
#include <array>
#include <map>
#include <numeric>

#include "src/check/page/wording.h"
#include "src/common/node/tokenized_host.h"

namespace zelk::check::html {

namespace {

struct subsystem {
  std::string_view name;
  std::array<std::string_view, 12> beginnings;  // of providers' names
};

// In the order of the heat map. This is a flat table.
constexpr std::array subsystems = {
    subsystem{"answers", {"reach"}},
    subsystem{"system",
              {"uname", "kernel", "boot", "sysctl", "modules", "packages",
               "libs", "services", "kmsg", "dstate", "stray", "env"}},
    subsystem{"accounts",
              {"users", "file", "ssh", "limits", "security", "time", "ntp",
               "clock", "cron", "login", "munge", "hosts"}},
    subsystem{"processor", {"cpu", "numa", "smt", "throttle", "dgemm"}},
    subsystem{"memory", {"mem", "thp", "edac", "stream", "huge", "swap"}},
    subsystem{"board",
              {"dmi", "bios", "pci", "sensors", "bmc", "ipmi", "power"}},
    subsystem{"storage",
              {"disk", "mount", "fs", "block", "raid", "nvme", "smart", "io",
               "lustre", "nfs", "gpfs", "md"}},
    subsystem{"network",
              {"net", "ib", "dns", "ping", "tcp", "osu", "mpi", "roce", "link",
               "hsn", "opa", "fabric"}},
    subsystem{"accelerator", {"gpu", "nvidia", "rocm", "nccl", "accel"}},
    subsystem{"batch", {"slurm", "pbs", "batch", "scheduler", "job"}},
};

std::size_t rank_of(std::string_view provider) {
  for (std::size_t i = 0; i < subsystems.size(); ++i)
    for (const std::string_view start : subsystems[i].beginnings)
      if (!start.empty() && provider.starts_with(start)) return i;
  return subsystems.size();
}

}  // namespace

std::string_view subsystem_of(std::string_view provider) {
  const std::size_t rank = rank_of(provider);
  return rank < subsystems.size() ? subsystems[rank].name : "other";
}

std::string folded(const std::vector<std::string>& nodes) {
  return TokenizedHost::get_merged_hosts(nodes);
}

page_view::page_view(const judgement& judged, const page_options& chosen,
                     const page_limits& most)
    : what(judged), options(chosen), limits(most) {
  for (std::size_t i = 0; i < what.nodes.size(); ++i)
    places_.emplace(what.nodes[i].name, i);
  order_columns();
  name_findings();
  choose_sections();
  place_nodes();
}

void page_view::order_columns() {
  columns_.resize(what.columns.size());
  std::iota(columns_.begin(), columns_.end(), std::size_t{0});
  std::stable_sort(columns_.begin(), columns_.end(),
                   [&](std::size_t a, std::size_t b) {
                     return rank_of(what.columns[a]) < rank_of(what.columns[b]);
                   });
  for (const std::size_t column : columns_)
    subsystems_.push_back(subsystem_of(what.columns[column]));
}

// The check's id when one finding has it, else with the fingerprint's end: the
// link to a finding stays the same as long as the trouble is the same.
void page_view::name_findings() {
  std::map<std::string, int> uses;
  for (const finding& one : what.findings)
    ++uses[one.check];
  std::map<std::string, int> taken;
  for (const finding& one : what.findings) {
    std::string name = one.check;
    if (uses[name] > 1) {
      const std::size_t length =
          std::min<std::size_t>(8, one.fingerprint.size());
      name += '-' + one.fingerprint.substr(one.fingerprint.size() - length);
    }
    const int before = taken[name]++;
    if (before > 0) name += "." + std::to_string(before + 1);
    anchors_.push_back(anchor_of("f", name));
  }
}

void page_view::choose_sections() {
  sections_.resize(what.nodes.size());
  std::size_t left = limits.node_sections;
  for (std::size_t i = 0; i < what.nodes.size() && left > 0; ++i) {
    if (what.nodes[i].what == verdict::healthy) continue;
    sections_[i] = true;
    --left;
  }
  left = std::min(left, options.healthy_sections);
  for (std::size_t i = 0; i < what.nodes.size() && left > 0; ++i) {
    if (what.nodes[i].what != verdict::healthy) continue;
    sections_[i] = true;
    --left;
  }
}

void page_view::place_nodes() {
  if (options.node_order.empty()) return;
  std::unordered_map<std::string_view, std::size_t> wanted;
  for (const std::string& name : options.node_order)
    wanted.emplace(name, wanted.size());
  for (std::size_t i = 0; i < what.nodes.size(); ++i) {
    const auto found = wanted.find(what.nodes[i].name);
    order_.push_back(found == wanted.end() ? wanted.size() + i : found->second);
  }
}

const node_view* page_view::node(const std::string& name) const {
  const auto found = places_.find(name);
  return found == places_.end() ? nullptr : &what.nodes[found->second];
}

bool page_view::has_section(const node_view& one) const {
  const auto found = places_.find(one.name);
  return found != places_.end() && sections_[found->second];
}

const distribution* page_view::distribution_of(const finding& one) const {
  if (one.fact.empty()) return nullptr;
  for (const distribution& each : what.distributions)
    if (each.fact == one.fact && each.class_name == one.class_name &&
        each.option == one.option)
      return &each;
  return nullptr;
}

}  // namespace zelk::check::html
