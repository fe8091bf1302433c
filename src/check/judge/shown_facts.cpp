#include <algorithm>
#include <cmath>
#include <map>
#include <set>

#include "src/check/judge/column_values.h"
#include "src/check/judge/reports.h"
#include "src/check/judge/value_words.h"

namespace zelk::check {

namespace {

// A page has no room for more, and a cluster of 10,000 nodes makes each long.
constexpr std::size_t most_distributions = 200;
constexpr std::size_t most_differences = 2000;
constexpr std::size_t most_names = 1'000'000;  // of nodes, in all differences

template <typename Shown>
void put_origin(Shown& into, const shown_column& of, const classes& groups) {
  const fact_column& fact = *of.column->fact;
  into.fact = fact.name;
  into.provider = fact.provider;
  into.option = fact.option;
  into.unit = fact.traits.unit;
  into.class_name = groups.list[of.in_class].name;
}

bool by_name(const shown_column& a, const shown_column& b) {
  // Columns lie in the order of their names.
  return a.column != b.column ? a.column < b.column : a.in_class < b.in_class;
}

std::set<std::uint32_t> odd_nodes(const found_hits& found,
                                  const shown_column& of) {
  std::set<std::uint32_t> result;
  for (const hit& each : found.hits)
    if (each.column == of.column && each.what != shape::changed &&
        each.what != shape::everywhere)
      result.insert(each.nodes.begin(), each.nodes.end());
  return result;
}

node_value outlier_of(const run_view& run, const fact_column& fact,
                      std::uint32_t node, std::uint32_t value,
                      const spread& peers) {
  node_value result;
  result.node = run.data().nodes[node];
  result.value = value_words(run, fact, value);
  const double number = run.number(value);
  result.number = number;
  result.z = robust_z(number, peers);
  result.delta_percent = delta_percent(number, peers.median);
  return result;
}

distribution distribution_of(const run_view& run, const classes& groups,
                             const shown_column& of,
                             const std::set<std::uint32_t>& odd) {
  distribution result;
  put_origin(result, of, groups);
  result.direction = of.column->fact->traits.direction;
  std::vector<std::pair<std::uint32_t, std::uint32_t>> outliers;
  for (const std::uint32_t node : groups.list[of.in_class].nodes) {
    const std::uint32_t value = run.value(*of.column, node);
    const double number = run.number(value);
    if (std::isnan(number)) continue;
    result.values.push_back(number);
    if (odd.count(node) != 0) outliers.emplace_back(node, value);
  }
  std::sort(result.values.begin(), result.values.end());
  const spread peers = spread_of(result.values);
  result.median = peers.median;
  result.mad = peers.mad;
  for (const auto& [node, value] : outliers)
    result.outliers.push_back(
        outlier_of(run, *of.column->fact, node, value, peers));
  std::stable_sort(result.outliers.begin(), result.outliers.end(),
                   [&](const node_value& a, const node_value& b) {
                     return std::abs(*a.number - peers.median) >
                            std::abs(*b.number - peers.median);
                   });
  return result;
}

difference difference_of(const run_view& run, const classes& groups,
                         const shown_column& of) {
  difference result;
  put_origin(result, of, groups);
  std::map<std::uint32_t, std::vector<std::uint32_t>> nodes;
  for (const std::uint32_t node : groups.list[of.in_class].nodes) {
    const std::uint32_t value = run.value(*of.column, node);
    if (value != unknown_value) nodes[value].push_back(node);
  }
  std::vector<std::pair<std::uint32_t, std::vector<std::uint32_t>>> ordered(
      nodes.begin(), nodes.end());
  std::sort(ordered.begin(), ordered.end(), [&](const auto& a, const auto& b) {
    if (a.second.size() != b.second.size())
      return a.second.size() > b.second.size();
    return a.second < b.second;
  });
  for (const auto& [value, list] : ordered) {
    if (value == absent_value) result.absent = result.groups.size();
    std::vector<std::string> names;
    names.reserve(list.size());
    for (const std::uint32_t node : list)
      names.push_back(run.data().nodes[node]);
    result.groups.emplace_back(run.text(value), std::move(names));
  }
  return result;
}

}  // namespace

std::vector<distribution> distributions_of(const run_view& run,
                                           const classes& groups,
                                           const found_hits& found,
                                           std::size_t& left_out) {
  std::vector<shown_column> order = found.distributions;
  std::sort(order.begin(), order.end(), by_name);
  std::stable_sort(
      order.begin(), order.end(), [](const auto& a, const auto& b) {
        return a.is_odd != b.is_odd ? a.is_odd : a.weight > b.weight;
      });
  left_out = order.size() - std::min(order.size(), most_distributions);
  order.resize(order.size() - left_out);
  std::vector<distribution> result;
  result.reserve(order.size());
  for (const shown_column& each : order)
    result.push_back(distribution_of(
        run, groups, each,
        each.is_odd ? odd_nodes(found, each) : std::set<std::uint32_t>()));
  return result;
}

std::vector<difference> differences_of(const run_view& run,
                                       const classes& groups,
                                       const found_hits& found,
                                       std::size_t& left_out) {
  std::vector<shown_column> order = found.differences;
  std::sort(order.begin(), order.end(), by_name);
  std::stable_sort(order.begin(), order.end(),
                   [](const auto& a, const auto& b) { return a.odd < b.odd; });
  std::vector<difference> result;
  std::size_t names = 0;
  for (const shown_column& each : order) {
    names += groups.list[each.in_class].nodes.size();
    if (result.size() == most_differences || names > most_names) break;
    result.push_back(difference_of(run, groups, each));
  }
  left_out = order.size() - result.size();
  return result;
}

}  // namespace zelk::check
