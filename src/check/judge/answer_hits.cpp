// What the results themselves say: who gave none, which stopped at their limit,
// failed, are not all there, or are too old. None of it is a measurement, and
// none of it is ever taken for a good one.

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <map>

#include "src/check/judge/built_in_checks.h"
#include "src/check/judge/find_hits.h"
#include "src/check/judge/reasons.h"

namespace zelk::check {

namespace {

// One hit for the nodes of a provider that ended alike.
struct answer_key {
  const check_definition* check;
  std::string reason;
  bool operator<(const answer_key& other) const {
    return check->id != other.check->id ? check->id < other.check->id
                                        : reason < other.reason;
  }
};

// Somebody's own provider that nobody has described is no trouble.
constexpr int score_of_undescribed = 10;

using by_answer = std::map<answer_key, std::vector<std::uint32_t>>;

bool is_lacking(answer what) {
  return what == answer::tool_missing || what == answer::no_permission;
}

const char* check_of(answer what) {
  switch (what) {
    case answer::missing:
      return built_in::no_answer;
    case answer::timed_out:
      return built_in::timed_out;
    case answer::failed:
      return built_in::failed;
    case answer::incomplete:
      return built_in::incomplete;
    default:
      return nullptr;
  }
}

void add(const by_answer& found, std::uint32_t provider,
         std::vector<hit>& hits) {
  for (const auto& [key, nodes] : found) {
    hit made;
    made.check = key.check;
    made.score = key.check->score;
    made.what = shape::answer;
    made.provider = provider;
    made.nodes = nodes;
    made.note = key.reason;
    hits.push_back(std::move(made));
  }
}

// Nothing has been waited for yet, or not any more.
bool is_awaited(const provider_answer& given, const run_info& run) {
  return given.what == answer::missing &&
         (run.ended_usec == 0 || given.was_not_asked);
}

bool was_not_asked(const run_view& run, std::uint32_t node) {
  return std::all_of(run.data().providers.begin(), run.data().providers.end(),
                     [&](const provider_info& each) {
                       return node >= each.answers.size() ||
                              each.answers[node].what != answer::missing ||
                              each.answers[node].was_not_asked;
                     });
}

const char* check_of(const run_view& run, std::uint32_t provider,
                     std::uint32_t node) {
  if (run.is_stale(provider, node)) return built_in::stale;
  if (run.is_unreadable(provider, node)) return built_in::unreadable;
  return check_of(run.data().providers[provider].answers[node].what);
}

// Where nobody's output can be read the nodes are not to blame.
void put_all_unreadable(hit& found, const run_view& run) {
  const auto& answers = run.data().providers[found.provider].answers;
  std::size_t answered = 0;
  for (const provider_answer& each : answers)
    answered += each.what == answer::ok || each.what == answer::incomplete;
  if (found.nodes.size() < answered || answered < 2) return;
  found.blames_nobody = true;
  if (run.why_unreadable(found.provider, found.nodes.front()).is_undescribed)
    found.score = std::min(found.score, score_of_undescribed);
}

void find_in_provider(const run_view& run, std::uint32_t provider,
                      const check_plan& plan, std::vector<hit>& hits) {
  const provider_info& info = run.data().providers[provider];
  by_answer found;
  for (std::uint32_t node = 0; node < run.nodes(); ++node) {
    if (run.is_silent(node) || node >= info.answers.size()) continue;
    const provider_answer& given = info.answers[node];
    const bool is_stale = run.is_stale(provider, node);
    if (is_awaited(given, run.data().run)) continue;
    const char* id = check_of(run, provider, node);
    const check_definition* check = id != nullptr ? plan.built_in(id) : nullptr;
    if (check == nullptr) continue;
    const std::string reason = run.is_unreadable(provider, node)
                                   ? run.why_unreadable(provider, node).reason
                               : is_stale
                                   ? std::string()
                                   : reason_of(given, run.data().nodes[node]);
    found[{check, reason}].push_back(node);
  }
  const std::size_t first = hits.size();
  add(found, provider, hits);
  for (std::size_t i = first; i < hits.size(); ++i)
    if (hits[i].check->id == built_in::unreadable)
      put_all_unreadable(hits[i], run);
}

void find_silent(const run_view& run, const check_plan& plan,
                 const judge_options& options, std::vector<hit>& hits) {
  const check_definition* check = plan.built_in(built_in::no_answer);
  // While a run goes on, a node that has said nothing may still do so.
  if (check == nullptr || run.data().run.ended_usec == 0) return;
  by_answer found;
  for (std::uint32_t node = 0; node < run.nodes(); ++node)
    if (run.is_silent(node) && !was_not_asked(run, node))
      found[{check, silence_of(run.data(), node)}].push_back(node);
  const std::size_t first = hits.size();
  add(found, no_provider, hits);
  for (std::size_t i = first; i < hits.size(); ++i)
    hits[i].score = options.unreachable_score;
}

void find_reset_counters(const run_view& run, const run_pair& pair,
                         const check_plan& plan, std::vector<hit>& hits) {
  const check_definition* check = plan.built_in(built_in::counters_reset);
  if (check == nullptr) return;
  std::map<std::uint32_t, std::vector<std::uint32_t>> nodes_of;  // by provider
  for (const column_view& column : run.columns()) {
    if (column.fact->traits.compare != facts::comparison::counter) continue;
    const column_view* before = pair.before_of(column);
    if (before == nullptr || column.provider == no_provider) continue;
    for (std::uint32_t node = 0; node < run.nodes(); ++node) {
      const std::uint32_t then = pair.node_before(node);
      if (then == no_value || pair.was_restarted(node)) continue;
      const double now = run.number(run.value(column, node));
      const double was =
          pair.before().number(pair.before().value(*before, then));
      if (now < was) nodes_of[column.provider].push_back(node);
    }
  }
  for (auto& [provider, nodes] : nodes_of) {
    std::sort(nodes.begin(), nodes.end());
    nodes.erase(std::unique(nodes.begin(), nodes.end()), nodes.end());
    add({{{check, ""}, nodes}}, provider, hits);
  }
}

// Which check would tell that the result of an asked check's provider is not
// known; null: it is.
const char* check_of_gap(const run_view& run, std::uint32_t provider,
                         std::uint32_t node, bool is_chosen) {
  const answer what = run.data().providers[provider].answers[node].what;
  // What a node cannot tell at all matters to who asks for nothing else.
  if (is_lacking(what)) return is_chosen ? built_in::of_lack(what) : nullptr;
  const char* id = check_of(run, provider, node);
  return what == answer::incomplete && id == check_of(what) ? nullptr : id;
}

// How many of a class answered, and how many lack what it takes.
struct class_answers {
  std::size_t good = 0, lacking = 0;
};

// Nodes that cannot answer where most of their class do. Where most cannot, it
// is how the cluster is.
void find_lacking_in_provider(const run_view& run, const classes& groups,
                              std::uint32_t provider, const check_plan& plan,
                              std::vector<hit>& hits) {
  const auto& answers = run.data().providers[provider].answers;
  std::vector<class_answers> counted(groups.list.size() + 1);
  const auto of_class = [&](std::uint32_t node) -> class_answers& {
    return counted[std::min<std::size_t>(groups.of[node], groups.list.size())];
  };
  const auto count =
      static_cast<std::uint32_t>(std::min(run.nodes(), answers.size()));
  for (std::uint32_t node = 0; node < count; ++node) {
    of_class(node).good += answers[node].what == answer::ok ||
                           answers[node].what == answer::incomplete;
    of_class(node).lacking += is_lacking(answers[node].what);
  }
  by_answer found;
  for (std::uint32_t node = 0; node < count; ++node) {
    const class_answers& peers = of_class(node);
    if (!is_lacking(answers[node].what) || run.is_stale(provider, node) ||
        peers.good < 2 || peers.good <= peers.lacking)
      continue;
    if (const auto* check =
            plan.built_in(built_in::of_lack(answers[node].what)))
      found[{check, reason_of(answers[node], run.data().nodes[node])}]
          .push_back(node);
  }
  add(found, provider, hits);
}

// "30 days", "5 hours"
std::string span_words(std::int64_t usec) {
  constexpr std::int64_t hour = std::int64_t{3600} * 1'000'000;
  const std::int64_t hours = std::abs(usec) / hour;
  const std::int64_t days = hours / 24;
  const std::int64_t count = days > 1 ? days : hours;
  return std::to_string(count) + (days > 1 ? " days" : " hour") +
         (days <= 1 && count != 1 ? "s" : "");
}

void find_misdated(const run_view& run, const check_plan& plan,
                   std::vector<hit>& hits) {
  const check_definition* check = plan.built_in(built_in::clock_of_result);
  if (check == nullptr) return;
  by_answer found;
  for (std::uint32_t node = 0; node < run.nodes(); ++node)
    if (const std::int64_t by = run.misdated_usec(node); by != 0)
      found[{check,
             "dated " + span_words(by) +
                 (by > 0 ? " after the run ended" : " before the run began")}]
          .push_back(node);
  add(found, no_provider, hits);
}

}  // namespace

void find_untold(const run_view& run, const check_plan& plan,
                 const judge_options& options, columns_seen& seen) {
  const auto& providers = run.data().providers;
  seen.untold.resize(providers.size());
  if (seen.all) return;
  std::vector<std::uint8_t> is_seen(providers.size(), 0);
  for (const column_view& column : run.columns())
    if (column.provider != no_provider && seen.has(run, column))
      is_seen[column.provider] = 1;
  for (std::uint32_t i = 0; i < providers.size(); ++i) {
    if (is_seen[i] == 0) continue;
    seen.untold[i].assign(run.nodes(), 0);
    const std::size_t count =
        std::min(run.nodes(), providers[i].answers.size());
    for (std::uint32_t node = 0; node < count; ++node) {
      const char* id = check_of_gap(run, i, node, !options.only.empty());
      seen.untold[i][node] = id != nullptr && plan.built_in(id) == nullptr;
    }
  }
}

void find_answer_hits(const run_view& run, const classes& groups,
                      const run_pair* pair, check_plan& plan,
                      const judge_options& options, std::vector<hit>& hits) {
  find_misdated(run, plan, hits);
  for (std::uint32_t i = 0; i < run.data().providers.size(); ++i)
    find_lacking_in_provider(run, groups, i, plan, hits);
  find_silent(run, plan, options, hits);
  for (std::uint32_t i = 0; i < run.data().providers.size(); ++i)
    find_in_provider(run, i, plan, hits);
  if (pair != nullptr) find_reset_counters(run, *pair, plan, hits);
}

}  // namespace zelk::check
