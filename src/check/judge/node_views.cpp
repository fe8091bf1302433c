#include <algorithm>
#include <array>
#include <map>
#include <tuple>

#include "src/check/judge/reasons.h"
#include "src/check/judge/reports.h"

namespace zelk::check {

namespace {

// The cell of what came, before anything is found in it.
cell_state cell_of(const run_view& run, std::size_t provider,
                   std::size_t node) {
  if (run.is_stale(provider, node)) return cell_state::stale;
  if (run.is_unreadable(provider, node)) return cell_state::error;
  const provider_info& info = run.data().providers[provider];
  if (node >= info.answers.size()) return cell_state::not_applicable;
  switch (info.answers[node].what) {
    case answer::ok:
      return cell_state::ok;
    case answer::not_applicable:
    case answer::tool_missing:
    case answer::not_expected:
      return cell_state::not_applicable;
    case answer::incomplete:
      return cell_state::info;
    case answer::no_permission:
    case answer::failed:
      return cell_state::error;
    case answer::timed_out:
      return cell_state::timeout;
    case answer::missing:
      return cell_state::no_data;
  }
  return cell_state::no_data;
}

// Of two states in one cell, the one that must not be overlooked.
constexpr std::array<cell_state, 10> mildest_first = {
    cell_state::not_applicable, cell_state::ok,
    cell_state::accepted,       cell_state::info,
    cell_state::stale,          cell_state::no_data,
    cell_state::error,          cell_state::timeout,
    cell_state::warn,           cell_state::crit};

std::size_t weight_of(cell_state state) {
  return static_cast<std::size_t>(
      std::find(mildest_first.begin(), mildest_first.end(), state) -
      mildest_first.begin());
}

void raise(cell_state& cell, cell_state to) {
  if (weight_of(to) > weight_of(cell)) cell = to;
}

cell_state cell_of(severity level) {
  switch (level) {
    case severity::informational:
      return cell_state::info;
    case severity::warning:
      return cell_state::warn;
    case severity::critical:
      return cell_state::crit;
  }
  return cell_state::info;
}

class node_table {
 public:
  node_table(judgement& result, const run_view& run)
      : result_(result), run_(run) {
    result_.columns = {"reach"};
    for (const provider_info& each : run.data().providers) {
      if (result_.columns.back() != each.name || result_.columns.size() == 1)
        result_.columns.push_back(each.name);
      column_of_.push_back(result_.columns.size() - 1);
    }
  }

  void make(const classes& groups) {
    for (std::size_t node = 0; node < run_.nodes(); ++node) {
      node_view view;
      view.name = run_.data().nodes[node];
      if (const std::uint32_t number = groups.of[node]; number != no_class)
        view.class_name = groups.list[number].name;
      if (node < run_.data().notes.size()) {
        view.role = run_.data().notes[node].role;
        view.subcluster = run_.data().notes[node].subcluster;
      }
      view.cells.assign(result_.columns.size(), cell_state::not_applicable);
      if (run_.is_silent(node))
        view.cells[0] = cell_state::no_data;
      else if (run_.is_expected(node))
        view.cells[0] = cell_state::ok;
      for (std::size_t i = 0; i < column_of_.size(); ++i)
        raise(view.cells[column_of_[i]], cell_of(run_, i, node));
      result_.nodes.push_back(std::move(view));
    }
  }

  void mark(const made_finding& found, cell_state state) {
    const bool is_reach = found.is_of_answers && found.what.provider.empty();
    if (is_reach)
      for (const std::uint32_t node : found.nodes)
        raise(result_.nodes[node].cells[0], state);
    // The cell says already how the result ended, and that is more; but for
    // what is no trouble where all nodes have it.
    if (found.is_of_answers && state != cell_state::accepted) {
      for (const auto& [provider, node] : found.cells)
        if (auto& cell = result_.nodes[node].cells[column_of_[provider]];
            cell == cell_state::not_applicable)
          cell = cell_state::error;
      return;
    }
    for (const auto& [provider, node] : found.cells)
      raise(result_.nodes[node].cells[column_of_[provider]], state);
    for (const auto& [provider, node] : found.accepted_cells)
      raise(result_.nodes[node].cells[column_of_[provider]],
            cell_state::accepted);
  }

 private:
  judgement& result_;
  const run_view& run_;
  std::vector<std::size_t> column_of_;  // by provider
};

// Whether at least one provider told something that can be judged. That it
// answered is not enough: of a fact that could not be read nothing is known.
// Of a node of which others tell, or that tells only whether it has such a
// thing, neither. `seen`: the columns that a check looks at.
bool is_known(const run_view& run, const columns_seen& seen, std::size_t node) {
  const auto has_answered = [&](std::uint32_t number) {
    const auto& answers = run.data().providers[number].answers;
    return node < answers.size() && !run.is_stale(number, node) &&
           (answers[node].what == answer::ok ||
            answers[node].what == answer::incomplete);
  };
  return std::any_of(run.columns().begin(), run.columns().end(),
                     [&](const column_view& column) {
                       return column.provider != no_provider &&
                              column.absence_counts &&
                              (seen.answers || seen.has(run, column)) &&
                              run.value(column, node) != unknown_value &&
                              has_answered(column.provider);
                     });
}

verdict verdict_of(severity worst, bool known) {
  if (worst == severity::critical) return verdict::unhealthy;
  // That all of it is too old, or failed, does not make a node suspect.
  if (!known) return verdict::unknown;
  return worst == severity::warning ? verdict::suspect : verdict::healthy;
}

// Whether a check that was asked for misses a result of the node, and the
// check that would tell so was not asked for.
bool is_untold(const run_view& run, const columns_seen& seen,
               std::size_t node) {
  for (std::uint32_t i = 0; i < seen.untold.size(); ++i)
    if (node < seen.untold[i].size() && seen.untold[i][node] != 0 &&
        !run.is_silent(node))
      return true;
  return false;
}

void put_verdicts(judgement& result, const run_view& run,
                  const columns_seen& seen,
                  const std::vector<made_finding>& open) {
  std::vector<severity> worst(run.nodes(), severity::informational);
  for (std::uint32_t i = 0; i < open.size(); ++i)
    for (const std::uint32_t node : open[i].nodes) {
      if (!open[i].what.blames_nobody)
        worst[node] = std::max(worst[node], open[i].what.level);
      result.nodes[node].findings.push_back(i);
    }
  for (std::size_t node = 0; node < run.nodes(); ++node) {
    verdict& what = result.nodes[node].what;
    what = verdict_of(worst[node], is_known(run, seen, node));
    if (what == verdict::healthy && is_untold(run, seen, node))
      what = verdict::unknown;
  }
}

void put_counts(judgement& result) {
  verdict_counts& counts = result.counts;
  for (const node_view& each : result.nodes)
    switch (each.what) {
      case verdict::healthy:
        ++counts.healthy;
        break;
      case verdict::suspect:
        ++counts.suspect;
        break;
      case verdict::unhealthy:
        ++counts.unhealthy;
        break;
      case verdict::unknown:
        ++counts.unknown;
        break;
    }
}

using coverage_key =
    std::tuple<answer, bool, std::string, std::string, std::string>;

}  // namespace

std::vector<coverage_group> coverage_of(const run_view& run) {
  std::map<coverage_key, std::vector<std::string>> found;
  const run_data& data = run.data();
  for (std::size_t node = 0; node < run.nodes(); ++node)
    if (run.is_silent(node))
      found[{answer::missing, false, "", "", silence_of(data, node)}].push_back(
          data.nodes[node]);
  for (std::size_t i = 0; i < data.providers.size(); ++i) {
    const provider_info& info = data.providers[i];
    for (std::size_t node = 0; node < run.nodes(); ++node) {
      if (run.is_silent(node) || node >= info.answers.size()) continue;
      const provider_answer& given = info.answers[node];
      const bool stale = run.is_stale(i, node);
      if (given.what == answer::not_expected ||
          (given.what == answer::ok && !stale))
        continue;
      found[{given.what, stale, info.name, info.option,
             reason_of(given, data.nodes[node])}]
          .push_back(data.nodes[node]);
    }
  }
  std::vector<coverage_group> result;
  result.reserve(found.size());
  for (auto& [key, nodes] : found)
    result.push_back({std::get<0>(key), std::get<1>(key), std::get<2>(key),
                      std::get<3>(key), std::get<4>(key), std::move(nodes)});
  return result;
}

void put_nodes(judgement& result, const run_view& run, const classes& groups,
               const columns_seen& seen, const std::vector<made_finding>& open,
               const std::vector<made_finding>& accepted) {
  node_table table(result, run);
  table.make(groups);
  for (const made_finding& each : open)
    table.mark(each, each.what.blames_nobody ? cell_state::info
                                             : cell_of(each.what.level));
  for (const made_finding& each : accepted)
    table.mark(each, cell_state::accepted);
  put_verdicts(result, run, seen, open);
  put_counts(result);
}

}  // namespace zelk::check
