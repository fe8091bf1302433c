// The order of things: the baseline is judged by the same rules first, so that
// a trouble can be told from one that is new; then the run itself.

#include "src/check/judge/judge.h"

#include <algorithm>
#include <limits>
#include <map>
#include <memory>
#include <tuple>
#include <unordered_set>

#include "src/check/judge/find_hits.h"
#include "src/check/judge/machines.h"
#include "src/check/judge/make_findings.h"
#include "src/check/judge/reports.h"
#include "src/check/judge/trouble.h"

namespace zelk::check {

namespace {

// A run, its classes and what was found in it.
struct judged_run {
  judged_run(const run_data& data, std::int64_t oldest_usec)
      : view(in_order(data, copy), oldest_usec),
        machines(machines_in(view.data())) {}

  run_data copy;  // only if `data` is not in order
  run_view view;
  std::vector<machine_facts> machines;
  classes groups;
  found_hits found;
};

std::int64_t oldest_usec(const judge_options& options) {
  if (options.max_age_usec <= 0)
    return std::numeric_limits<std::int64_t>::min();
  return options.now_usec - options.max_age_usec;
}

// Runs say of each other what their nodes are.
void complete(judged_run& of, const judged_run& by) {
  complete(of.machines, of.view.data().nodes, by.machines,
           by.view.data().nodes);
}

void judge_run(judged_run& run, const run_pair* pair, const troubled& before,
               const known_classes* groups_before, check_plan& plan,
               const judge_options& options) {
  run.groups = find_classes(run.view, run.machines, groups_before, options);
  run.found = find_hits(run.view, run.groups, pair, before, plan, options);
  find_answer_hits(run.view, run.groups, pair, plan, options, run.found.hits);
}

// By node of the baseline: its number now, or no_value.
std::vector<std::uint32_t> places_now(const run_pair& pair) {
  std::vector<std::uint32_t> result(pair.before().nodes(), no_value);
  for (std::uint32_t node = 0; node < pair.now().nodes(); ++node)
    if (pair.node_before(node) != no_value)
      result[pair.node_before(node)] = node;
  return result;
}

// Which nodes of now had trouble with which column then.
troubled troubles_before(const judged_run& before,
                         const std::vector<std::uint32_t>& now_of) {
  troubled result;
  for (const hit& each : before.found.hits) {
    if (each.column == nullptr || is_common(each.what)) continue;
    std::vector<std::uint32_t>& nodes = result[each.column];
    for (const std::uint32_t node : each.nodes)
      if (now_of[node] != no_value) nodes.push_back(now_of[node]);
  }
  for (auto& [column, nodes] : result)
    std::sort(nodes.begin(), nodes.end());
  return result;
}

// Told apart by when they were made, the newest first; those after `now` are no
// past of it.
std::vector<const earlier_run*> newest_first(
    const std::vector<earlier_run>& earlier, const run_info& now) {
  const auto when = [](const run_info& run) {
    return std::tie(run.started_usec, run.number);
  };
  std::vector<const earlier_run*> result;
  for (const earlier_run& each : earlier)
    if (when(each.run) < when(now)) result.push_back(&each);
  std::sort(result.begin(), result.end(),
            [&when](const earlier_run* a, const earlier_run* b) {
              return when(b->run) < when(a->run);
            });
  return result;
}

std::vector<known_run> known_runs(
    const std::vector<const earlier_run*>& earlier) {
  std::vector<known_run> result;
  for (const earlier_run* each : earlier) {
    known_run run;
    run.name = {each->run.number, each->run.started_usec};
    for (const std::string& fingerprint : each->fingerprints)
      run.troubles.push_back(from_hexadecimal(fingerprint));
    std::sort(run.troubles.begin(), run.troubles.end());
    result.push_back(std::move(run));
  }
  return result;
}

void put_history(judgement& result,
                 const std::vector<const earlier_run*>& earlier) {
  for (auto each = earlier.rbegin(); each != earlier.rend(); ++each)
    result.history.push_back({(*each)->run, (*each)->counts, (*each)->nodes});
  const earlier_run now = remember(result);
  result.history.push_back({now.run, now.counts, now.nodes});
}

std::vector<class_view> views_of(const classes& groups, const run_data& data,
                                 std::size_t min_peers) {
  const auto names_of = [&data](const std::vector<std::uint32_t>& nodes) {
    std::vector<std::string> names;
    names.reserve(nodes.size());
    for (const std::uint32_t node : nodes)
      names.push_back(data.nodes[node]);
    return names;
  };
  std::vector<class_view> result;
  for (const node_class& each : groups.list) {
    class_view view;
    view.name = each.name;
    view.key = each.key;
    view.nodes = names_of(each.nodes);
    view.comparable = each.nodes.size() >= min_peers;
    if (!view.comparable)
      view.why_not = std::to_string(each.nodes.size()) +
                     (each.nodes.size() == 1 ? " node" : " nodes") +
                     "; comparing takes " + std::to_string(min_peers);
    result.push_back(std::move(view));
  }
  if (!groups.unknown.empty())
    result.push_back({"unknown",
                      {},
                      names_of(groups.unknown),
                      false,
                      "nothing tells which machines they are, in this run or "
                      "before; zelk-collect cpu_topology dmi_bios tells it, or "
                      "--peers all takes them as alike"});
  return result;
}

// Names of `of` that `other` has not; both in one order.
std::vector<std::string> only_in(const std::vector<std::string>& of,
                                 const std::vector<std::string>& other) {
  const std::unordered_set<std::string_view> known(other.begin(), other.end());
  std::vector<std::string> result;
  for (const std::string& each : of)
    if (known.count(each) == 0) result.push_back(each);
  return result;
}

void put_providers(judgement& result, const run_data& data) {
  for (const provider_info& each : data.providers)
    for (const std::int32_t version : each.versions)
      result.providers.emplace_back(each.name, version);
  std::sort(result.providers.begin(), result.providers.end());
  result.providers.erase(
      std::unique(result.providers.begin(), result.providers.end()),
      result.providers.end());
}

judged_with how(const check_set& checks, const judge_options& options) {
  judged_with result;
  result.z = options.z;
  result.min_effect = options.min_effect;
  result.min_peers = options.min_peers;
  result.peers_by = name_of(options.by);
  result.max_age_usec = options.max_age_usec;
  result.checks = options.only;
  result.skipped = options.skip;
  for (const metric_limit& each : options.limits)
    result.limits.push_back(each.text);
  result.definition_files = checks.files();
  return result;
}

// Moves findings into their lists, and tells which trouble there is in all.
void put_findings(judgement& result, const judged_run& run,
                  std::vector<made_finding> made,
                  const std::vector<known_run>& earlier,
                  const trouble_set& troubles) {
  const run_name name{result.run.number, result.run.started_usec};
  std::vector<made_finding> open, accepted;
  for (made_finding& each : made) {
    put_since(each, earlier, name);
    (each.what.accepted ? accepted : open).push_back(std::move(each));
  }
  put_nodes(result, run.view, run.groups, run.found.seen, open, accepted);
  for (made_finding& each : open)
    result.findings.push_back(std::move(each.what));
  for (made_finding& each : accepted)
    result.accepted.push_back(std::move(each.what));
  for (const std::uint64_t each : troubles)
    result.troubles.push_back(in_hexadecimal(each));
  std::sort(result.troubles.begin(), result.troubles.end());
}

void put_facts(judgement& result, const judged_run& run) {
  result.coverage = coverage_of(run.view);
  result.unread = run.view.data().unread;
  result.distributions = distributions_of(run.view, run.groups, run.found,
                                          result.distributions_left_out);
  result.differences = differences_of(run.view, run.groups, run.found,
                                      result.differences_left_out);
  result.equal_facts = run.found.equal_facts;
}

// The baseline, as far as it is needed after it was judged.
struct judged_baseline {
  std::unique_ptr<judged_run> run;  // null: there is none
  std::unique_ptr<run_pair> pair;
  std::vector<std::uint32_t> place_now;  // by node
  troubled odd;
  trouble_set troubles;
};

judged_baseline judge_baseline(const run_data* data, judged_run& now,
                               check_plan& plan, const judge_options& options) {
  judged_baseline result;
  if (data == nullptr) return result;
  // It is old: that is what it is for.
  result.run = std::make_unique<judged_run>(
      *data, std::numeric_limits<std::int64_t>::min());
  complete(now, *result.run);
  complete(*result.run, now);
  judge_run(*result.run, nullptr, {}, nullptr, plan, options);
  result.pair = std::make_unique<run_pair>(now.view, result.run->view);
  result.place_now = places_now(*result.pair);
  result.odd = troubles_before(*result.run, result.place_now);
  result.troubles =
      troubles_of(result.run->found.hits, result.run->view, result.run->groups);
  return result;
}

void put_baseline(judgement& result, const judged_baseline& baseline,
                  const run_data& now, const trouble_set& troubles) {
  if (!baseline.run) return;
  const run_data& before = baseline.run->view.data();
  result.baseline = before.run;
  result.joined = only_in(now.nodes, before.nodes);
  result.left = only_in(before.nodes, now.nodes);
  for (made_finding& each :
       make_fixed(baseline.run->found.hits, baseline.run->groups, troubles,
                  *baseline.pair))
    result.fixed.push_back(std::move(each.what));
}

}  // namespace

judgement judge(const run_data& now, const run_data* baseline,
                const std::vector<earlier_run>& earlier,
                const check_set& checks,
                const std::vector<acceptance>& acceptances,
                const judge_options& options) {
  check_plan plan(checks, options);
  judged_run run(now, oldest_usec(options));
  const judged_baseline before = judge_baseline(baseline, run, plan, options);
  std::optional<known_classes> groups_before;
  if (before.run)
    groups_before.emplace(known_classes{before.run->groups, before.place_now});
  judge_run(run, before.pair.get(), before.odd,
            groups_before ? &*groups_before : nullptr, plan, options);
  const trouble_set troubles =
      troubles_of(run.found.hits, run.view, run.groups);
  const auto past = newest_first(earlier, now.run);
  judgement result;
  result.run = now.run;
  result.now_usec = options.now_usec;
  const finding_maker maker{
      run.view,          run.groups,
      before.pair.get(), before.run ? &before.troubles : nullptr,
      acceptances,       options.now_usec,
      options.min_effect};
  put_findings(result, run, maker.make(run.found.hits), known_runs(past),
               troubles);
  result.overall = overall_of(result);
  result.classes = views_of(run.groups, run.view.data(), options.min_peers);
  put_facts(result, run);
  put_baseline(result, before, run.view.data(), troubles);
  put_providers(result, run.view.data());
  result.with = how(checks, options);
  put_history(result, past);
  return result;
}

earlier_run remember(const judgement& of) {
  earlier_run result;
  result.run = of.run;
  result.counts = of.counts;
  for (const node_view& each : of.nodes)
    if (each.what != verdict::healthy)
      result.nodes.emplace_back(each.name, each.what);
  result.fingerprints = of.troubles;
  return result;
}

std::optional<metric_limit> read_limit(std::string_view text,
                                       std::string& problem) {
  const std::size_t equals = text.rfind('=');
  if (equals == text.npos || equals == 0) {
    problem = "expected METRIC=RANGE, as in clock.offset=~:1";
    return std::nullopt;
  }
  const auto allowed = read_range(text.substr(equals + 1), problem);
  if (!allowed) return std::nullopt;
  return metric_limit{std::string(text.substr(0, equals)), *allowed,
                      std::string(text)};
}

namespace {

constexpr std::pair<const char*, peers_by> peers_names[] = {
    {"class", peers_by::class_},
    {"role", peers_by::role},
    {"subcluster", peers_by::subcluster},
    {"all", peers_by::all},
    {"none", peers_by::none}};

}  // namespace

const char* name_of(peers_by by) {
  for (const auto& [name, value] : peers_names)
    if (value == by) return name;
  return "";
}

std::optional<peers_by> peers_by_of(std::string_view name) {
  for (const auto& [known, value] : peers_names)
    if (name == known) return value;
  return std::nullopt;
}

}  // namespace zelk::check
