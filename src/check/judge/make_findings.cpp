#include "src/check/judge/make_findings.h"

#include <algorithm>
#include <cmath>
#include <map>
#include <string_view>
#include <tuple>
#include <utility>

#include "src/check/judge/glob.h"
#include "src/check/judge/grouping.h"
#include "src/check/judge/trouble.h"
#include "src/check/judge/wording.h"
#include "src/common/node/natural_order.h"
#include "src/common/node/tokenized_host.h"
#include "src/common/str/str.h"

namespace zelk::check {

namespace {

// Which acceptance, if any, holds for which node.
class accepting {
 public:
  accepting(const std::vector<acceptance>& all, const run_view& run,
            std::int64_t now_usec)
      : all_(all) {
    for (std::uint32_t i = 0; i < all.size(); ++i)
      if (all[i].until_usec == 0 || now_usec < all[i].until_usec)
        order_.push_back(i);
    std::sort(order_.begin(), order_.end(), [&](auto a, auto b) {
      return std::tie(all[a].id, all[a].check) <
             std::tie(all[b].id, all[b].check);
    });
    nodes_.resize(all.size());
    for (const std::uint32_t i : order_)
      nodes_[i] = {all[i].nodes.begin(), all[i].nodes.end()};
    for (const std::string& name : run.data().nodes)
      names_.push_back(name);
  }

  std::uint32_t of(const std::string& check, std::uint32_t node) const {
    for (const std::uint32_t i : order_)
      if (holds(i, check, node)) return i;
    return not_accepted;
  }

  // What is about many nodes is accepted when all of them are.
  std::uint32_t of_all(const std::string& check,
                       const std::vector<std::uint32_t>& nodes) const {
    for (const std::uint32_t i : order_)
      if (std::all_of(nodes.begin(), nodes.end(), [&](std::uint32_t node) {
            return holds(i, check, node);
          }))
        return i;
    return not_accepted;
  }

 private:
  bool holds(std::uint32_t i, const std::string& check,
             std::uint32_t node) const {
    return matches(all_[i].check, check) &&
           (nodes_[i].empty() || nodes_[i].count(names_[node]) != 0);
  }

  const std::vector<acceptance>& all_;
  std::vector<std::uint32_t> order_;
  std::vector<std::unordered_set<std::string_view>> nodes_;
  std::vector<std::string_view> names_;
};

std::vector<hit_part> parts_of(const std::vector<hit>& hits,
                               const finding_maker& with) {
  const accepting accepted(with.acceptances, with.run, with.now_usec);
  std::vector<hit_part> result;
  for (const hit& each : hits) {
    const stable_hash key = key_of(each, with.run, with.groups);
    const auto is_known = [&](std::uint32_t node) {
      return with.before != nullptr &&
             with.before->count(
                 trouble_key(each, key, with.run.data().nodes[node])) != 0;
    };
    if (is_common(each.what)) {
      result.push_back({&each, each.nodes,
                        accepted.of_all(each.check->id, each.nodes),
                        is_known(each.nodes.front())});
      continue;
    }
    std::map<std::pair<std::uint32_t, bool>, std::vector<std::uint32_t>> split;
    for (const std::uint32_t node : each.nodes)
      split[{accepted.of(each.check->id, node), is_known(node)}].push_back(
          node);
    for (auto& [how, nodes] : split)
      result.push_back({&each, std::move(nodes), how.first, how.second});
  }
  return result;
}

std::string filled_in(const std::string& advice, const std::string& nodes) {
  return str::replace(advice, "NODES", nodes);
}

// Whether a trouble that was there before is not the same any more.
bool has_changed(const hit_group& group, const std::vector<node_value>& values,
                 const finding_maker& with) {
  const hit& what = *group.parts.front()->of;
  if (what.column == nullptr || is_common(what.what)) return false;
  const column_view* old =
      with.pair == nullptr ? nullptr : with.pair->before_of(*what.column);
  if (old == nullptr) return false;
  for (std::size_t i = 0; i < group.nodes.size() && i < values.size(); ++i) {
    const std::uint32_t node = group.nodes[i];
    const std::uint32_t now = with.run.value(*what.column, node);
    const std::uint32_t then = with.pair->value_before(old, node);
    if (now == then) continue;
    const double number = with.run.number(now);
    const std::uint32_t place = with.pair->node_before(node);
    const double was = place == no_value
                           ? std::nan("")
                           : with.pair->before().number(
                                 with.pair->before().value(*old, place));
    if (std::isnan(number) || std::isnan(was) || what.what == shape::odd)
      return true;
    if (std::abs(number - was) > std::abs(was) * with.min_effect / 100)
      return true;
  }
  return false;
}

void put_texts(finding& into, const hit& what) {
  into.check = what.check->id;
  into.title = what.check->title;
  into.drain_word = what.check->drain_word;
  into.score = what.score;
  into.level = severity_of(what.score);
  into.causes = what.check->causes;
  const std::string nodes = TokenizedHost::get_merged_hosts(into.nodes);
  for (const std::string& each : what.check->advice)
    into.advice.push_back(filled_in(each, nodes));
}

void put_origin(finding& into, const hit& what, const finding_maker& with) {
  if (what.in_class < with.groups.list.size())
    into.class_name = with.groups.list[what.in_class].name;
  const auto& providers = with.run.data().providers;
  if (what.column != nullptr) {
    into.provider = what.column->fact->provider;
    into.option = what.column->fact->option;
    into.fact = what.column->fact->name;
    into.unit = what.column->fact->traits.unit;
  } else if (what.provider < providers.size()) {
    into.provider = providers[what.provider].name;
    into.option = providers[what.provider].option;
  }
  into.peers = what.peers;
  const bool has_spread = what.what == shape::outlier ||
                          what.what == shape::halves ||
                          what.what == shape::grew;
  if (!has_spread) return;
  into.median = what.of.median;
  into.mad = what.of.mad;
}

// The nodes and facts are the trouble; how bad it is today is not.
std::string fingerprint_of(const finding& of, const hit_group& group,
                           const classes& groups) {
  stable_hash first, second(0x9e3779b97f4a7c15);
  const auto add = [&](std::string_view text) {
    first.add(text);
    second.add(text);
  };
  const hit& what = *group.parts.front()->of;
  add(of.check);
  add(of.provider);
  add(of.option);
  add(of.fact);
  if (is_common(what.what)) {
    if (what.in_class < groups.list.size())
      add(groups.list[what.in_class].identity);
  } else {
    for (const std::string& node : of.nodes)
      add(node);
  }
  return in_hexadecimal(first.value()) + in_hexadecimal(second.value());
}

made_finding made_of(const hit_group& group, const finding_maker& with) {
  const hit_part& lead = *group.parts.front();
  const hit& what = *lead.of;
  made_finding result;
  result.nodes = group.nodes;
  result.is_of_answers = what.what == shape::answer;
  finding& into = result.what;
  for (const std::uint32_t node : group.nodes)
    into.nodes.push_back(with.run.data().nodes[node]);
  const wording words{with.run, with.groups, with.pair};
  put_texts(into, what);
  put_origin(into, what, with);
  into.values = words.values_of(group);
  into.reference = words.reference_of(what);
  into.message = words.message_of(group, into.values);
  if (lead.accepted != not_accepted)
    into.accepted = with.acceptances[lead.accepted];
  into.state = !lead.known ? finding_state::fresh
               : has_changed(group, into.values, with)
                   ? finding_state::changed
                   : finding_state::unchanged;
  into.fingerprint = fingerprint_of(into, group, with.groups);
  for (const hit_part* part : group.parts) {
    const stable_hash key = key_of(*part->of, with.run, with.groups);
    for (const std::uint32_t node : part->nodes) {
      if (part->of->provider != no_provider)
        result.cells.emplace_back(part->of->provider, node);
      if (part == &lead)
        result.troubles.push_back(
            trouble_key(*part->of, key, with.run.data().nodes[node]));
    }
  }
  return result;
}

int rank_of(severity level) {
  return -static_cast<int>(level);
}

void put_worst_first(std::vector<made_finding>& list) {
  std::stable_sort(list.begin(), list.end(),
                   [](const made_finding& a, const made_finding& b) {
                     const auto rank = [](const made_finding& of) {
                       return std::make_tuple(
                           rank_of(of.what.level), -of.what.score,
                           of.what.state != finding_state::fresh,
                           std::string_view(of.what.check),
                           std::string_view(of.what.class_name));
                     };
                     if (rank(a) != rank(b)) return rank(a) < rank(b);
                     if (a.nodes != b.nodes) return a.nodes < b.nodes;
                     return std::tie(a.what.fact, a.what.message) <
                            std::tie(b.what.fact, b.what.message);
                   });
}

}  // namespace

trouble_set troubles_of(const std::vector<hit>& hits, const run_view& run,
                        const classes& groups) {
  trouble_set result;
  for (const hit& each : hits) {
    const stable_hash key = key_of(each, run, groups);
    for (const std::uint32_t node : each.nodes) {
      result.insert(trouble_key(each, key, run.data().nodes[node]));
      if (is_common(each.what)) break;
    }
  }
  return result;
}

std::vector<made_finding> finding_maker::make(
    const std::vector<hit>& hits) const {
  const std::vector<hit_part> parts = parts_of(hits, *this);
  std::vector<made_finding> result;
  for (const hit_group& group : group_hits(parts))
    result.push_back(made_of(group, *this));
  put_worst_first(result);
  return result;
}

namespace {

// Whether something is known now about what `what` found then.
bool is_judged_again(const hit& what, std::uint32_t now_node,
                     const run_pair& pair) {
  const run_view& now = pair.now();
  if (now.is_silent(now_node) || !now.is_expected(now_node)) return false;
  if (what.column == nullptr) return true;
  const column_view* column = pair.now_of(what.column);
  return column != nullptr && now.value(*column, now_node) != unknown_value;
}

}  // namespace

std::vector<made_finding> make_fixed(const std::vector<hit>& hits_before,
                                     const classes& groups_before,
                                     const trouble_set& now,
                                     const run_pair& pair) {
  const run_view& before = pair.before();
  std::vector<std::uint32_t> now_of(before.nodes(), no_value);
  for (std::uint32_t node = 0; node < pair.now().nodes(); ++node)
    if (pair.node_before(node) != no_value)
      now_of[pair.node_before(node)] = node;
  std::vector<hit> gone;
  for (const hit& each : hits_before) {
    const stable_hash key = key_of(each, before, groups_before);
    hit left = each;
    std::erase_if(left.nodes, [&](std::uint32_t node) {
      return now.count(trouble_key(each, key, before.data().nodes[node])) !=
                 0 ||
             now_of[node] == no_value ||
             !is_judged_again(each, now_of[node], pair);
    });
    if (!left.nodes.empty()) gone.push_back(std::move(left));
  }
  const std::vector<acceptance> none;
  const finding_maker maker{before, groups_before, nullptr, nullptr, none};
  std::vector<made_finding> result = maker.make(gone);
  for (made_finding& each : result)
    each.what.state = finding_state::fixed;
  return result;
}

void put_since(made_finding& into, const std::vector<known_run>& earlier,
               const run_name& run) {
  if (earlier.empty()) return;
  std::size_t oldest = 0;  // how many runs back, of the node that goes furthest
  for (const std::uint64_t trouble : into.troubles) {
    std::size_t back = 0;
    while (back < earlier.size() &&
           std::binary_search(earlier[back].troubles.begin(),
                              earlier[back].troubles.end(), trouble))
      ++back;
    oldest = std::max(oldest, back);
  }
  into.what.since = oldest == 0 ? run : earlier[oldest - 1].name;
}

}  // namespace zelk::check
