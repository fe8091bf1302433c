#include <algorithm>
#include <numeric>
#include <tuple>

#include "src/check/judge/run_view.h"
#include "src/common/node/natural_order.h"

namespace zelk::check {

namespace {

bool provider_before(const provider_info& a, const provider_info& b) {
  return std::tie(a.name, a.option) < std::tie(b.name, b.option);
}

bool fact_before(const fact_column& a, const fact_column& b) {
  return std::tie(a.name, a.provider, a.option) <
         std::tie(b.name, b.provider, b.option);
}

bool unread_before(const unread_fact& a, const unread_fact& b) {
  return std::tie(a.provider, a.name, a.reason) <
         std::tie(b.provider, b.name, b.reason);
}

bool is_in_order(const run_data& data) {
  return std::is_sorted(data.nodes.begin(), data.nodes.end(),
                        node::natural_before) &&
         std::is_sorted(data.providers.begin(), data.providers.end(),
                        provider_before) &&
         std::is_sorted(data.facts.begin(), data.facts.end(), fact_before) &&
         std::is_sorted(data.unread.begin(), data.unread.end(),
                        unread_before) &&
         std::all_of(data.unread.begin(), data.unread.end(),
                     [](const unread_fact& each) {
                       return std::is_sorted(each.nodes.begin(),
                                             each.nodes.end());
                     });
}

using places = std::vector<std::size_t>;

// By its new place, where a node was.
places node_order(const run_data& data) {
  places from(data.nodes.size());
  std::iota(from.begin(), from.end(), std::size_t{0});
  std::sort(from.begin(), from.end(), [&data](std::size_t a, std::size_t b) {
    return node::natural_before(data.nodes[a], data.nodes[b]);
  });
  return from;
}

// A list that is too short has `otherwise` for the rest.
template <typename Value>
void put_in_order(std::vector<Value>& list, const places& from,
                  const Value& otherwise) {
  std::vector<Value> result;
  result.reserve(from.size());
  for (const std::size_t place : from)
    result.push_back(place < list.size() ? list[place] : otherwise);
  list = std::move(result);
}

void put_in_order(node_values& list, const places& from) {
  node_values result(from.size(), from.size());
  for (std::size_t i = 0; i < from.size(); ++i)
    if (from[i] < list.size()) result.set(i, list[from[i]]);
  list = std::move(result);
}

void order_unread(run_data& data, const places& from) {
  std::vector<std::uint32_t> to(from.size());
  for (std::size_t place = 0; place < from.size(); ++place)
    to[from[place]] = static_cast<std::uint32_t>(place);
  for (unread_fact& each : data.unread) {
    for (std::uint32_t& node : each.nodes)
      if (node < to.size()) node = to[node];
    std::sort(each.nodes.begin(), each.nodes.end());
  }
  std::sort(data.unread.begin(), data.unread.end(), unread_before);
}

}  // namespace

const run_data& in_order(const run_data& data, run_data& copy) {
  if (is_in_order(data)) return data;
  copy = data;
  const places from = node_order(data);
  put_in_order(copy.nodes, from, std::string());
  put_in_order(copy.notes, from, node_notes());
  put_in_order(copy.machines, from, machine_facts());
  for (provider_info& each : copy.providers)
    put_in_order(each.answers, from, provider_answer());
  for (fact_column& each : copy.facts)
    put_in_order(each.values, from);
  std::sort(copy.providers.begin(), copy.providers.end(), provider_before);
  std::sort(copy.facts.begin(), copy.facts.end(), fact_before);
  order_unread(copy, from);
  return copy;
}

}  // namespace zelk::check
