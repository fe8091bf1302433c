#include "src/check/input/only_nodes.h"

#include <algorithm>
#include <map>
#include <unordered_set>
#include <utility>

namespace zelk::check {

namespace {

using name_list = std::vector<std::string>;

std::size_t& counter_of(verdict_counts& counts, verdict what) {
  switch (what) {
    case verdict::healthy:
      return counts.healthy;
    case verdict::suspect:
      return counts.suspect;
    case verdict::unhealthy:
      return counts.unhealthy;
    case verdict::unknown:
      break;
  }
  return counts.unknown;
}

void count(judgement& of) {
  of.counts = {};
  for (const node_view& each : of.nodes)
    ++counter_of(of.counts, each.what);
  of.overall = overall_of(of);
}

class cutter {
 public:
  explicit cutter(const name_list& names) : kept_(names.begin(), names.end()) {}

  void cut(judgement& of);

 private:
  bool keeps(const std::string& name) const { return kept_.contains(name); }
  void cut(name_list& names) const;
  void cut(std::vector<node_value>& values) const;
  bool cut(finding& of) const;
  void cut_findings(judgement& of);
  void cut_nodes(judgement& of);
  void cut_unread(judgement& of) const;
  void cut_comparisons(judgement& of) const;

  std::unordered_set<std::string> kept_;
  std::map<std::uint32_t, std::uint32_t> places_;  // of findings: old, new
};

void cutter::cut(name_list& names) const {
  std::erase_if(names, [&](const auto& name) { return !keeps(name); });
}

void cutter::cut(std::vector<node_value>& values) const {
  std::erase_if(values, [&](const auto& each) { return !keeps(each.node); });
}

// Returns whether it still says something.
bool cutter::cut(finding& of) const {
  const bool of_nodes = !of.nodes.empty();
  cut(of.nodes);
  cut(of.values);
  cut(of.accepted_nodes);
  return !of_nodes || !of.nodes.empty();
}

void cutter::cut_findings(judgement& of) {
  std::vector<finding> kept;
  for (std::size_t i = 0; i < of.findings.size(); ++i) {
    if (!cut(of.findings[i])) continue;
    places_[static_cast<std::uint32_t>(i)] =
        static_cast<std::uint32_t>(kept.size());
    kept.push_back(std::move(of.findings[i]));
  }
  of.findings = std::move(kept);
  for (std::vector<finding>* list : {&of.accepted, &of.fixed})
    std::erase_if(*list, [&](finding& each) { return !cut(each); });
}

void cutter::cut_unread(judgement& of) const {
  std::vector<std::uint32_t> places(of.nodes.size(), no_value);
  std::uint32_t next = 0;
  for (std::size_t i = 0; i < of.nodes.size(); ++i)
    if (keeps(of.nodes[i].name)) places[i] = next++;
  for (unread_fact& each : of.unread) {
    for (std::uint32_t& node : each.nodes)
      node = node < places.size() ? places[node] : no_value;
    std::erase(each.nodes, no_value);
  }
  std::erase_if(of.unread, [](const auto& each) { return each.nodes.empty(); });
}

void cutter::cut_nodes(judgement& of) {
  cut_unread(of);
  std::erase_if(of.nodes, [&](const auto& each) { return !keeps(each.name); });
  for (node_view& each : of.nodes) {
    std::vector<std::uint32_t> places;
    for (const std::uint32_t old : each.findings)
      if (const auto found = places_.find(old); found != places_.end())
        places.push_back(found->second);
    each.findings = std::move(places);
  }
  for (class_view& each : of.classes)
    cut(each.nodes);
  std::erase_if(of.classes,
                [](const auto& each) { return each.nodes.empty(); });
  for (coverage_group& each : of.coverage)
    cut(each.nodes);
  std::erase_if(of.coverage,
                [](const auto& each) { return each.nodes.empty(); });
  cut(of.joined);
  cut(of.left);
}

// Peers stay as they are: a value means nothing without them.
void cutter::cut_comparisons(judgement& of) const {
  const auto is_left = [&](const std::string& class_name) {
    return std::any_of(of.classes.begin(), of.classes.end(),
                       [&](const auto& c) { return c.name == class_name; });
  };
  for (distribution& each : of.distributions)
    cut(each.outliers);
  std::erase_if(of.distributions,
                [&](const auto& each) { return !is_left(each.class_name); });
  std::erase_if(of.differences, [&](const difference& each) {
    return std::none_of(each.groups.begin() + (each.groups.empty() ? 0 : 1),
                        each.groups.end(), [&](const auto& group) {
                          return std::any_of(
                              group.second.begin(), group.second.end(),
                              [&](const auto& name) { return keeps(name); });
                        });
  });
  of.history.clear();
}

bool is_result(answer what) {
  return what != answer::missing && what != answer::not_expected;
}

void count_results(run_info& of, const std::unordered_set<std::string>& names,
                   const run_data& data) {
  of.nodes_expected = of.nodes = of.results_expected = of.results = 0;
  for (std::size_t node = 0; node < data.nodes.size(); ++node) {
    if (!names.contains(data.nodes[node])) continue;
    std::size_t expected = 0, came = 0;
    for (const provider_info& each : data.providers) {
      if (node >= each.answers.size()) continue;
      const answer what = each.answers[node].what;
      if (what != answer::not_expected) ++expected;
      if (is_result(what)) ++came;
    }
    of.results_expected += expected;
    of.results += came;
    if (expected > 0) ++of.nodes_expected;
    if (came > 0) ++of.nodes;
  }
}

void cutter::cut(judgement& of) {
  cut_findings(of);
  cut_nodes(of);
  cut_comparisons(of);
  count(of);
}

}  // namespace

judgement only_nodes(judgement of, const std::vector<std::string>& names,
                     const run_data& data) {
  cutter(names).cut(of);
  count_results(of.run, {names.begin(), names.end()}, data);
  return of;
}

}  // namespace zelk::check
