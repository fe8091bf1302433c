#include "src/check/judge/make_findings.h"

#include <algorithm>
#include <cmath>
#include <map>
#include <string_view>
#include <tuple>
#include <utility>

#include "src/check/judge/fold_absences.h"
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

  // Those for which one holds.
  std::vector<std::uint32_t> among(
      const std::string& check, const std::vector<std::uint32_t>& nodes) const {
    std::vector<std::uint32_t> result;
    if (order_.empty()) return result;
    std::copy_if(
        nodes.begin(), nodes.end(), std::back_inserter(result),
        [&](std::uint32_t node) { return of(check, node) != not_accepted; });
    return result;
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

// The groups of nodes of which a common hit tells: who has which value.
std::map<double, std::vector<std::uint32_t>> groups_in(const hit& what,
                                                       const run_view& run) {
  std::map<double, std::vector<std::uint32_t>> result;
  for (const std::uint32_t node : what.nodes) {
    const std::uint32_t value = run.value(*what.column, node);
    const double group =
        what.what == shape::tie ? static_cast<double>(value)
        : what.what == shape::halves && run.number(value) >= what.border ? 1
                                                                         : 0;
    result[group].push_back(node);
  }
  return result;
}

// What is about a class as a whole is accepted when one of its groups is:
// whoever says that these are as they should be has said who should not.
hit_part common_part(const hit& what, const accepting& accepted, bool known,
                     const run_view& run) {
  hit_part result{&what, what.nodes, not_accepted, known};
  const std::string& check = what.check->id;
  if (!what.others.empty() &&
      accepted.among(check, what.others).size() == what.others.size()) {
    result.accepted = accepted.of(check, what.others.front());
    return result;
  }
  std::vector<std::uint32_t> nodes = accepted.among(check, what.nodes);
  if (nodes.empty()) return result;
  for (const auto& [value, group] : groups_in(what, run))
    if (std::includes(nodes.begin(), nodes.end(), group.begin(), group.end())) {
      result.accepted = accepted.of(check, group.front());
      return result;
    }
  result.accepted_nodes = std::move(nodes);
  return result;
}

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
      result.push_back(
          common_part(each, accepted, is_known(each.nodes.front()), with.run));
      continue;
    }
    std::map<std::pair<std::uint32_t, bool>, std::vector<std::uint32_t>> split;
    for (const std::uint32_t node : each.nodes)
      split[{accepted.of(each.check->id, node), is_known(node)}].push_back(
          node);
    for (auto& [how, nodes] : split)
      result.push_back({&each, std::move(nodes), how.first, how.second, {}});
  }
  return result;
}

constexpr char nodes_word[] = "NODES";

// Advice is pasted into a shell, so names that no command can take are not in
// it; `nodes` are all.
std::vector<std::string> filled_in(const std::vector<std::string>& advice,
                                   const std::vector<std::string>& nodes) {
  const names_apart names = apart(nodes);
  const std::string fit = TokenizedHost::get_merged_hosts(names.fit);
  const std::string count = std::to_string(names.odd.size());
  const bool is_one = names.odd.size() == 1;
  std::vector<std::string> result;
  bool is_told = false;
  for (const std::string& each : advice) {
    const bool has_nodes = each.find(nodes_word) != each.npos;
    if (!has_nodes || names.odd.empty()) {
      result.push_back(str::replace(each, nodes_word, fit));
      continue;
    }
    if (!fit.empty()) result.push_back(str::replace(each, nodes_word, fit));
    if (!std::exchange(is_told, true))
      result.push_back(count +
                       (is_one ? " name that no command can take is left out"
                               : " names that no command can take are left "
                                 "out"));
  }
  return result;
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

void put_groups(finding& into, const hit& what, const run_view& run) {
  into.blames_nobody = what.blames_nobody;
  for (const node_group& each : what.groups) {
    into.group_numbers.push_back(each.number);
    auto& [value, nodes] = into.groups.emplace_back();
    value = each.value;
    for (const std::uint32_t node : each.nodes)
      nodes.push_back(run.data().nodes[node]);
  }
}

void put_texts(finding& into, const hit& what) {
  into.check = what.check->id;
  into.title = what.check->title;
  into.drain_word = what.check->drain_word;
  into.score = what.score;
  into.level = severity_of(what.score);
  into.causes = what.check->causes;
  into.advice = filled_in(what.check->advice, into.nodes);
  into.is_of_change =
      what.what == shape::changed ||
      (what.what == shape::everywhere && what.check->what.kind != rule::growth);
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

// Of a group that is accepted on some of its nodes only.
void put_accepted_part(made_finding& into, const hit_group& group,
                       const run_view& run) {
  std::vector<std::uint32_t> accepted, others;
  const auto& all = group.parts.front()->accepted_nodes;
  for (const std::uint32_t node : group.nodes)
    (std::binary_search(all.begin(), all.end(), node) ? accepted : others)
        .push_back(node);
  if (accepted.empty() || others.empty()) return;
  for (const std::uint32_t node : accepted)
    into.what.accepted_nodes.push_back(run.data().nodes[node]);
  // In front, where no report cuts it off.
  into.what.message = "accepted on " + std::to_string(accepted.size()) +
                      " of its " + std::to_string(group.nodes.size()) +
                      " nodes; " + into.what.message;
  into.nodes = std::move(others);
  const auto stays = [&](const auto& cell) {
    return !std::binary_search(accepted.begin(), accepted.end(), cell.second);
  };
  const auto border =
      std::stable_partition(into.cells.begin(), into.cells.end(), stays);
  into.accepted_cells.assign(border, into.cells.end());
  into.cells.erase(border, into.cells.end());
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
  put_groups(into, what, with.run);
  into.values = words.values_of(group);
  into.reference = words.reference_of(what);
  into.reference_number = words.reference_number_of(what);
  into.limit = limit_of(what);
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
  put_accepted_part(result, group, with.run);
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
  std::vector<hit_group> grouped = group_hits(parts);
  fold_absences(grouped, run);
  std::vector<made_finding> result;
  result.reserve(grouped.size());
  for (const hit_group& group : grouped)
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
