#include "src/collect/src/collect/make_plan.h"

#include <algorithm>
#include <cstdint>
#include <random>
#include <set>
#include <utility>

#include "src/collect/src/collect/cluster_groups.h"

namespace zelk::collect {

namespace {

// The product is built for this machine alone, so no node is another.
constexpr char built_for[] = "x86_64";

class planner {
 public:
  planner(const collect_settings& settings, const catalogue& descriptions,
          node_selection selection)
      : settings_(settings),
        descriptions_(descriptions),
        selection_(std::move(selection)) {
    for (const selected_node& node : selection_.nodes)
      names_.push_back(node.name);
    made_.seed = selection_.seed;
    made_.remarks = selection_.remarks;
  }

  plan make(std::vector<planned_provider> providers);

 private:
  bool applies(const planned_provider& provider);
  void leave_out(const std::vector<std::string>& nodes,
                 const std::string& provider, const std::string& reason);
  void plan_single(const std::vector<planned_provider>& providers);
  void plan_cluster(planned_provider& provider);
  std::uint64_t order_seed();

  const collect_settings& settings_;
  const catalogue& descriptions_;
  node_selection selection_;
  std::vector<std::string> names_;
  plan made_;
  bool seed_told_ = false;
};

void planner::leave_out(const std::vector<std::string>& nodes,
                        const std::string& provider,
                        const std::string& reason) {
  for (const std::string& node : nodes)
    made_.not_required.push_back({node, provider, reason});
}

// Tells whether any node can run it; if none can, the reason is in the plan.
bool planner::applies(const planned_provider& provider) {
  const auto no = [&](const std::string& reason) {
    leave_out(names_, provider.name, reason);
    return false;
  };
  if (provider.architecture != "any" && provider.architecture != built_for)
    return no("runs only on " + provider.architecture);
  if (provider.max_nodes != 0 && provider.min_nodes > provider.max_nodes)
    return no("needs at least " + std::to_string(provider.min_nodes) +
              " nodes and at most " + std::to_string(provider.max_nodes));
  if (names_.size() < provider.min_nodes)
    return no("needs " + std::to_string(provider.min_nodes) + " nodes, " +
              std::to_string(names_.size()) +
              (names_.size() == 1 ? " is" : " are") + " selected");
  return true;
}

void add_expected(task& on_node, const planned_provider& provider) {
  on_node.descriptions.push_back(provider.path);
  for (const option_set& set : provider.options) {
    on_node.expected.push_back({on_node.node, provider.name, set.id});
    on_node.limit += set.timeout;
  }
}

void planner::plan_single(const std::vector<planned_provider>& providers) {
  std::vector<task> tasks;
  for (const std::string& name : names_) {
    task on_node;
    on_node.node = name;
    on_node.limit = task_margin;
    for (const planned_provider& provider : providers)
      if (!provider.cluster) add_expected(on_node, provider);
    if (!on_node.expected.empty()) tasks.push_back(std::move(on_node));
  }
  made_.phases.push_back(std::move(tasks));
}

std::uint64_t planner::order_seed() {
  if (settings_.order != nodelist_method_t::RANDOM) return 0;
  if (!made_.seed)
    made_.seed = settings_.seed ? *settings_.seed : std::random_device()();
  if (!seed_told_)
    made_.remarks.push_back("grouped at random with --seed " +
                            std::to_string(*made_.seed));
  seed_told_ = true;
  return *made_.seed;
}

void planner::plan_cluster(planned_provider& provider) {
  const int minimum = static_cast<int>(std::max(provider.min_nodes, 1U));
  const cluster_groups divided =
      make_groups(names_, static_cast<int>(provider.max_nodes), minimum,
                  settings_.order, order_seed());
  std::size_t largest = 1;
  for (const auto& group : divided.groups)
    largest = std::max(largest, group.size());
  provider =
      descriptions_.scaled(std::move(provider), static_cast<int>(largest));
  std::vector<task> tasks;
  for (const std::vector<std::string>& group : divided.groups) {
    task on_first;
    on_first.node = group.front();
    on_first.group = group;
    on_first.limit = task_margin;
    add_expected(on_first, provider);
    tasks.push_back(std::move(on_first));
  }
  leave_out(
      divided.left_over, provider.name,
      "left over: it runs on groups of " + std::to_string(minimum) + " nodes");
  made_.phases.push_back(std::move(tasks));
}

plan planner::make(std::vector<planned_provider> providers) {
  leave_out(selection_.busy, "", "busy");
  std::erase_if(providers, [this](const planned_provider& provider) {
    return !applies(provider);
  });
  made_.nodes = std::move(selection_.nodes);
  plan_single(providers);
  for (planned_provider& provider : providers)
    if (provider.cluster) plan_cluster(provider);
  made_.providers = std::move(providers);
  return std::move(made_);
}

}  // namespace

plan make_plan(const collect_settings& settings, const catalogue& descriptions,
               node_selection selection,
               std::vector<planned_provider> providers) {
  return planner(settings, descriptions, std::move(selection))
      .make(std::move(providers));
}

std::size_t expected_results(const plan& made) {
  std::size_t count = 0;
  for (const std::vector<task>& phase : made.phases)
    for (const task& one : phase)
      count += one.expected.size();
  return count;
}

}  // namespace zelk::collect
