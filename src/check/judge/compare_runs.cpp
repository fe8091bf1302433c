// Against the baseline. What changed on most nodes was most likely meant, so it
// is one finding that alarms nobody. A counter is compared by its growth, and
// the growth with that of its peers: on some machines some counters never rest.

#include <algorithm>
#include <cmath>

#include "src/check/judge/comparison.h"
#include "src/check/judge/glob.h"
#include "src/check/judge/value_words.h"

namespace zelk::check {

namespace {

constexpr double least_z = 6;         // growth has longer tails than values
constexpr double out_of_bounds = 20;  // times the limit, on most nodes
constexpr double times_peers = 3;     // the median growth of the class

struct growth {
  std::uint32_t node = 0;
  double by = 0;  // in a day
};

// The growth on some nodes, and how it is spread.
struct growths {
  std::uint32_t in_class = no_class;
  std::vector<growth> all;
  spread of;

  void find_spread() {
    std::vector<double> ascending;
    for (const growth& each : all)
      ascending.push_back(each.by);
    std::sort(ascending.begin(), ascending.end());
    if (!ascending.empty()) of = spread_of(ascending);
  }
};

// Nothing when it is not known: a counter that went back was started anew.
std::optional<double> growth_of(const comparison& of, const column_view* before,
                                std::uint32_t node) {
  const double now = of.run.number(of.run.value(of.column, node));
  const std::uint32_t then = of.pair->node_before(node);
  if (std::isnan(now) || then == no_value) return std::nullopt;
  const run_view& old = of.pair->before();
  const double was = old.number(old.value(*before, then));
  if (std::isnan(was) || now < was) return std::nullopt;
  return (now - was) / of.pair->days_between();
}

// By class; the last one is of all nodes.
std::vector<growths> growths_in(const comparison& of,
                                const column_view* before) {
  std::vector<growths> result(of.groups.list.size() + 1);
  for (std::uint32_t node = 0; node < of.run.nodes(); ++node) {
    const auto by = growth_of(of, before, node);
    if (!by) continue;
    result.back().all.push_back({node, *by});
    if (const std::uint32_t own = of.groups.of[node]; own != no_class)
      result[own].all.push_back({node, *by});
  }
  for (std::uint32_t i = 0; i < result.size(); ++i) {
    result[i].find_spread();
    if (i < of.groups.list.size()) result[i].in_class = i;
  }
  return result;
}

class growth_finder {
 public:
  // `peers` are those whose growth is compared with; null: there are too few.
  growth_finder(const comparison& of, const check_definition& check,
                const growths* peers)
      : of_(of), check_(check), peers_(peers) {}

  void find(const growths& in, std::vector<hit>& hits) const {
    const double limit =
        peers_ == nullptr
            ? check_.what.alone_growth.value_or(check_.what.growth)
            : check_.what.growth;
    std::vector<std::uint32_t> grown, most;
    for (const growth& each : in.all) {
      if (each.by <= limit) continue;
      most.push_back(each.node);
      if (is_far(each.by)) grown.push_back(each.node);
    }
    if (!grown.empty()) add(shape::grew, in, std::move(grown), hits);
    // Many counters run on all nodes; that is told when it is out of all
    // bounds.
    if (limit > 0 && peers_ == &in && most.size() * 2 > in.all.size() &&
        in.of.median >= out_of_bounds * limit)
      add(shape::everywhere, in, std::move(most), hits);
  }

 private:
  bool is_far(double by) const {
    if (peers_ == nullptr) return true;
    if (by <= times_peers * peers_->of.median) return false;
    const auto z = robust_z(by, peers_->of);
    const double base =
        check_.what.z.value_or(std::max(of_.options.z, least_z));
    return !z || *z >= needed_z(base, peers_->all.size());
  }

  void add(shape what, const growths& in, std::vector<std::uint32_t> nodes,
           std::vector<hit>& hits) const {
    const growths& held_against = peers_ == nullptr ? in : *peers_;
    hit found = of_.made(check_, what, in.in_class);
    if (what == shape::everywhere)
      found.score = std::min(found.score, most_of_everywhere);
    if (peers_ == nullptr && !check_.what.alone_growth)
      found.score = std::min(found.score, most_of_alone);
    if (peers_ != nullptr || what == shape::everywhere)
      found.peers =
          held_against.all.size() - (what == shape::grew ? nodes.size() : 0);
    found.of = held_against.of;
    found.by_effect_only = found.of.mad <= 0;
    found.note = number_words(found.of.median);
    found.nodes = std::move(nodes);
    hits.push_back(std::move(found));
  }

  const comparison& of_;
  const check_definition& check_;
  const growths* peers_;
};

}  // namespace

void find_grown(const comparison& of, const check_definition& check,
                std::vector<hit>& hits) {
  if (of.pair == nullptr) return;
  const column_view* before = of.pair->before_of(of.column);
  if (before == nullptr) return;
  const std::vector<growths> all = growths_in(of, before);
  const std::size_t least = check.what.min_peers.value_or(of.options.min_peers);
  const bool has_classes = all.size() > 1;
  for (const growths& each : all) {
    if (has_classes && &each == &all.back()) break;
    // A class too small to be compared is held against all nodes: what grows
    // everywhere is no fault of its nodes.
    const growths* peers = each.all.size() >= least         ? &each
                           : all.back().all.size() >= least ? &all.back()
                                                            : nullptr;
    if (of.options.by == peers_by::none) peers = nullptr;
    // Growth is fine unless somebody says how much is too much.
    if (peers == nullptr && check.what.growth <= 0 && !check.what.alone_growth)
      continue;
    growth_finder(of, check, peers).find(each, hits);
  }
}

void find_changed(const comparison& of, const check_definition& check,
                  std::vector<hit>& hits) {
  if (of.pair == nullptr) return;
  const column_view* before = of.pair->before_of(of.column);
  if (before == nullptr) return;
  hit found = of.made(check, shape::changed);
  std::size_t compared = 0;
  for (std::uint32_t node = 0; node < of.run.nodes(); ++node) {
    const std::uint32_t now = of.run.value(of.column, node);
    if (now == unknown_value) continue;
    const std::uint32_t then = of.pair->value_before(before, node);
    if (then == unknown_value) continue;
    ++compared;
    if (now != then && !matches_any(check.what.ignored, of.run.text(now)))
      found.nodes.push_back(node);
  }
  if (found.nodes.empty()) return;
  found.peers = compared;
  if (found.nodes.size() * 2 > compared && compared >= of.options.min_peers) {
    found.what = shape::everywhere;
    found.score = std::min(found.score, most_of_everywhere);
  }
  hits.push_back(std::move(found));
}

}  // namespace zelk::check
