#include "test/synthetic/cluster.h"

#include <algorithm>
#include <filesystem>
#include <stdexcept>

#include "test/synthetic/pair_measurement.h"

namespace zelk::synthetic {

namespace {

namespace fs = std::filesystem;

constexpr char pairs_provider[] = "net_pairs";

struct class_share {
  const char* name;
  double share;          // of what is left over by those behind it
  std::size_t at_least;  // machines
};

// The first takes what the others leave.
constexpr class_share shares[] = {
    {"compute_a", 1, 0},  {"compute_b", 0.25, 8}, {"gpu", 0.125, 8},
    {"login", 0.0061, 6}, {"fat", 0, 2},
};

std::size_t count_in(const class_share& of, std::size_t nodes) {
  return std::max(of.at_least, static_cast<std::size_t>(
                                   of.share * static_cast<double>(nodes)));
}

std::vector<std::size_t> class_sizes(std::size_t nodes) {
  std::vector<std::size_t> sizes;
  for (const class_share& each : shares)
    sizes.push_back(count_in(each, nodes));
  sizes[0] = nodes;
  for (std::size_t i = 1; i < sizes.size(); ++i)
    sizes[0] -= sizes[i];
  return sizes;
}

// "node0001"; more digits where four do not do.
std::string name_of(std::size_t number, std::size_t of) {
  const std::string digits = std::to_string(number);
  const std::size_t width = std::max<std::size_t>(4, std::to_string(of).size());
  return "node" + std::string(width - digits.size(), '0') + digits;
}

// Most were booted when the system was last maintained, within an hour; the
// others since then, one by one.
std::int64_t boot_time(chance of_node) {
  constexpr std::int64_t day = 86400;
  constexpr std::int64_t maintained = first_run_sec - 33 * day;
  const double when = of_node.at("boot").uniform();
  if (of_node.at("rebooted").uniform() > 0.35)
    return maintained + static_cast<std::int64_t>(when * 3600);
  return maintained + static_cast<std::int64_t>(when * 31 * day);
}

// An information provider takes moments, one of performance its whole budget.
double duration_of(const std::string& provider, const moment& when) {
  const double spread = when.of_node.at(provider).at(when.run).uniform();
  for (const char* heavy : {"dgemm_hpl_mini", "disk_fs_rw", "latency_jitter",
                            "net_pairs", "stream_triad"}) {
    if (provider == heavy) return 12 + 3 * spread;
  }
  return 0.01 + 0.2 * spread;
}

}  // namespace

cluster::cluster(const cluster_size& size, const std::string& folder)
    : size_(size) {
  if (size_.nodes < smallest_cluster)
    throw std::runtime_error("a cluster takes " +
                             std::to_string(smallest_cluster) + " nodes");
  for (const class_share& each : shares)
    classes_.push_back(
        read_machine_class(folder + "/classes/" + each.name + ".txt"));
  make_machines();
  read_templates(folder);
}

void cluster::make_machines() {
  const std::vector<std::size_t> sizes = class_sizes(size_.nodes);
  for (std::size_t number = 0; number < sizes.size(); ++number) {
    first_of_class_.push_back(machines_.size());
    for (std::size_t i = 0; i < sizes[number]; ++i) {
      const std::size_t index = machines_.size();
      machines_.push_back({name_of(index + 1, size_.nodes), number,
                           boot_time(luck().at(index))});
    }
  }
}

void cluster::read_templates(const std::string& folder) {
  for (const auto& entry : fs::directory_iterator(folder + "/outputs"))
    providers_.push_back(entry.path().stem());
  providers_.emplace_back(pairs_provider);
  std::sort(providers_.begin(), providers_.end());
  for (const machine_class& each : classes_) {
    std::vector<output_template>& of_class = templates_.emplace_back();
    for (const std::string& provider : providers_) {
      if (provider == pairs_provider) {
        of_class.emplace_back();
        continue;
      }
      std::string path = folder + "/outputs/";
      path += provider + ".txt";
      of_class.push_back(output_template::read(path, each));
    }
  }
}

std::vector<std::size_t> cluster::members_of(
    const std::string& class_name) const {
  std::vector<std::size_t> members;
  for (std::size_t i = 0; i < machines_.size(); ++i) {
    if (class_of(i).name == class_name) members.push_back(i);
  }
  return members;
}

std::size_t cluster::provider_number(const std::string& name) const {
  const auto found = std::find(providers_.begin(), providers_.end(), name);
  if (found == providers_.end())
    throw std::runtime_error("there is no provider '" + name + "'");
  return static_cast<std::size_t>(found - providers_.begin());
}

moment cluster::at(std::size_t node, std::uint64_t run) const {
  const chance of_node = luck().at(node);
  constexpr double start_within_sec = 20;
  return {.node = machines_[node].name,
          .index = node,
          .of_node = of_node,
          .run = run,
          .now = first_run_sec +
                 static_cast<std::int64_t>(run) * between_runs_sec +
                 static_cast<std::int64_t>(start_within_sec *
                                           of_node.at(run).uniform()),
          .booted = machines_[node].booted};
}

answer cluster::ask(std::size_t node, std::size_t provider,
                    const moment& when) const {
  answer given;
  if (providers_[provider] == pairs_provider) {
    given = measure_pairs(node, when);
  } else {
    const output_template& by =
        templates_[machines_[node].class_number][provider];
    by.render(when, given.output);
    given.exit_status = by.exit_status();
    given.errors = by.errors();
  }
  given.duration = duration_of(providers_[provider], when);
  return given;
}

std::vector<answer> cluster::ask_all(std::size_t node,
                                     const moment& when) const {
  std::vector<answer> all;
  all.reserve(providers_.size());
  for (std::size_t i = 0; i < providers_.size(); ++i)
    all.push_back(ask(node, i, when));
  return all;
}

// Groups are of one class, and the first of each measures for all.
std::vector<std::string> cluster::group_led_by(std::size_t node) const {
  const std::size_t number = machines_[node].class_number;
  if (!classes_[number].words.contains("infiniband")) return {};
  const std::size_t first = first_of_class_[number];
  if ((node - first) % pair_group != 0) return {};
  std::vector<std::string> group;
  for (std::size_t i = node; i < machines_.size(); ++i) {
    if (machines_[i].class_number != number || i == node + pair_group) break;
    group.push_back(machines_[i].name);
  }
  return group.size() < 2 ? std::vector<std::string>() : group;
}

answer cluster::measure_pairs(std::size_t node, const moment& when) const {
  const std::vector<std::string> group = group_led_by(node);
  answer given;
  given.expected = !group.empty();
  if (!given.expected) return given;
  given.output = pairs_of(group, class_of(node), when);
  given.node_count = static_cast<int>(group.size());
  for (const std::string& each : group)
    given.nodes += (given.nodes.empty() ? "" : ", ") + each;
  return given;
}

}  // namespace zelk::synthetic
