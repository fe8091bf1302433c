// What the results themselves say: who gave none, which stopped at their limit,
// failed, are not all there, or are too old. None of it is a measurement, and
// none of it is ever taken for a good one.

#include <algorithm>
#include <cmath>
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

using by_answer = std::map<answer_key, std::vector<std::uint32_t>>;

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

void find_in_provider(const run_view& run, std::uint32_t provider,
                      const check_plan& plan, std::vector<hit>& hits) {
  const provider_info& info = run.data().providers[provider];
  by_answer found;
  for (std::uint32_t node = 0; node < run.nodes(); ++node) {
    if (run.is_silent(node) || node >= info.answers.size()) continue;
    const provider_answer& given = info.answers[node];
    const bool is_stale = run.is_stale(provider, node);
    if (given.what == answer::missing && run.data().run.ended_usec == 0)
      continue;
    const char* id = is_stale ? built_in::stale : check_of(given.what);
    const check_definition* check = id != nullptr ? plan.built_in(id) : nullptr;
    if (check == nullptr) continue;
    const std::string reason =
        is_stale ? std::string() : reason_of(given, run.data().nodes[node]);
    found[{check, reason}].push_back(node);
  }
  add(found, provider, hits);
}

void find_silent(const run_view& run, const check_plan& plan,
                 const judge_options& options, std::vector<hit>& hits) {
  const check_definition* check = plan.built_in(built_in::no_answer);
  // While a run goes on, a node that has said nothing may still do so.
  if (check == nullptr || run.data().run.ended_usec == 0) return;
  by_answer found;
  for (std::uint32_t node = 0; node < run.nodes(); ++node)
    if (run.is_silent(node))
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

}  // namespace

void find_answer_hits(const run_view& run, const run_pair* pair,
                      check_plan& plan, const judge_options& options,
                      std::vector<hit>& hits) {
  find_silent(run, plan, options, hits);
  for (std::uint32_t i = 0; i < run.data().providers.size(); ++i)
    find_in_provider(run, i, plan, hits);
  if (pair != nullptr) find_reset_counters(run, *pair, plan, hits);
}

}  // namespace zelk::check
