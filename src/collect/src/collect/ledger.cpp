#include "src/collect/src/collect/ledger.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <map>
#include <tuple>
#include <utility>

#include "src/collect/src/collect/limit_text.h"

namespace zelk::collect {

namespace {

// What the worker reports of a provider that it had to stop; providers use it
// for nothing else, but a tool that they start may.
constexpr int status_of_a_time_out = 124;
// The providers' own convention (doc/providers.md).
constexpr int status_not_applicable = 80;

bool could_not_measure(int exit_status) {
  return exit_status >= 81 && exit_status <= 83;
}

const char* meaning_of(int exit_status) {
  switch (exit_status) {
    case 81:
      return " (a tool is missing)";
    case 82:
      return " (no permission)";
    case 83:
      return " (incomplete)";
    case 126:
      return " (cannot be executed)";
    case 127:
      return " (no such command)";
    default:
      return "";
  }
}

std::string failure_text(int exit_status) {
  if (exit_status > 128 && exit_status < 128 + 65)
    return fmt::format("ended by signal {}", exit_status - 128);
  return fmt::format("exit status {}{}", exit_status, meaning_of(exit_status));
}

bool is_answer_of(bool of_plugin, int exit_status) {
  constexpr int last_plugin_state = 3;
  return exit_status == 0 ||
         (of_plugin && exit_status > 0 && exit_status <= last_plugin_state);
}

std::string series_key(const std::string& provider, const std::string& option) {
  std::string key = provider;
  key.push_back('\0');
  return key += option;
}

// Folds twice: nodes of one provider and reason, and then providers of one
// reason whose nodes are the same.
class row_folder {
 public:
  void add(shortfall kind, const std::string& provider,
           const std::string& reason, const std::string& node) {
    const auto [place, added] =
        places_.emplace(std::tuple(kind, provider, reason), rows_.size());
    if (added) {
      rows_.push_back({kind, reason, {}, {}});
      if (!provider.empty()) rows_.back().providers.push_back(provider);
    }
    std::vector<std::string>& names = rows_[place->second].nodes;
    if (names.empty() || names.back() != node) names.push_back(node);
  }

  std::vector<shortfall_row> rows() {
    std::stable_sort(
        rows_.begin(), rows_.end(),
        [](const auto& a, const auto& b) { return a.kind < b.kind; });
    std::map<std::tuple<shortfall, std::string, std::vector<std::string>>,
             std::size_t>
        same;
    std::vector<shortfall_row> folded;
    for (shortfall_row& row : rows_) {
      const auto [place, added] = same.emplace(
          std::tuple(row.kind, row.reason, row.nodes), folded.size());
      if (added || row.providers.empty())
        folded.push_back(std::move(row));
      else
        folded[place->second].providers.push_back(row.providers.front());
    }
    return folded;
  }

 private:
  std::vector<shortfall_row> rows_;
  std::map<std::tuple<shortfall, std::string, std::string>, std::size_t>
      places_;
};

}  // namespace

ledger::ledger(const plan& made, bool limit_typed)
    : reasons_(1), not_required_(made.not_required) {
  for (const planned_provider& provider : made.providers)
    for (const option_set& set : provider.options) {
      series& what = series_[series_of(provider.name, set.id)];
      what.limit = set.timeout;
      what.limit_text = limit_text(set, limit_typed);
      what.plugin = provider.plugin;
    }
  for (const selected_node& node : made.nodes)
    node_of(node.name);
  for (const auto& phase : made.phases)
    for (const task& each : phase)
      for (const expected_result& what : each.expected) {
        if (find(what) != nullptr) continue;
        node_state& node = node_of(what.node);
        node.cells.push_back({series_of(what.provider, what.option)});
        if (node.expected++ == 0) ++nodes_expected_;
        ++expected_;
      }
}

std::uint32_t ledger::series_of(const std::string& provider,
                                const std::string& option) {
  const auto [place, added] = series_places_.emplace(
      series_key(provider, option), static_cast<std::uint32_t>(series_.size()));
  if (added) series_.push_back({provider, option, {}, "", false});
  return place->second;
}

ledger::node_state& ledger::node_of(const std::string& name) {
  const auto [place, added] =
      node_places_.emplace(name, static_cast<std::uint32_t>(nodes_.size()));
  if (added) nodes_.emplace_back().name = name;
  return nodes_[place->second];
}

const ledger::node_state* ledger::find_node(const std::string& name) const {
  const auto place = node_places_.find(name);
  return place == node_places_.end() ? nullptr : &nodes_[place->second];
}

// A node has a few dozen results at most, so these are looked through.
const ledger::cell* ledger::find(const expected_result& what) const {
  const node_state* node = find_node(what.node);
  const auto place =
      series_places_.find(series_key(what.provider, what.option));
  if (node == nullptr || place == series_places_.end()) return nullptr;
  for (const cell& one : node->cells)
    if (one.what == place->second) return &one;
  return nullptr;
}

ledger::cell* ledger::find(const expected_result& what) {
  return const_cast<cell*>(std::as_const(*this).find(what));
}

bool ledger::remove(const expected_result& stored) {
  cell* const one = find(stored);
  if (one == nullptr || one->now != state::waiting) return false;
  one->now = state::removed;
  --expected_;
  node_state& node = node_of(stored.node);
  if (--node.expected == 0) --nodes_expected_;
  return true;
}

void ledger::launched(const std::string& node, clock::time_point now) {
  node_state& it = node_of(node);
  ++it.running;
  it.heard_at = now;
}

void ledger::ended(const std::string& node) {
  node_state& it = node_of(node);
  if (it.running > 0) --it.running;
}

bool ledger::came(const expected_result& what, int exit_status, double duration,
                  clock::time_point now) {
  cell* const one = find(what);
  if (one == nullptr || one->now == state::came || one->now == state::removed)
    return false;
  node_state& node = node_of(what.node);
  one->now = state::came;
  one->exit_status = exit_status;
  one->duration = static_cast<float>(duration);
  node.heard_at = now;
  if (node.received++ == 0) ++answering_;
  ++received_;
  if (why_of(node, *one).kind == shortfall::timed_out) ++cut_off_;
  return true;
}

void ledger::give_up(const expected_result& what, const why& reason) {
  const auto place = static_cast<std::uint32_t>(reasons_.size());
  reasons_.push_back(reason);
  if (!what.provider.empty()) {
    cell* const one = find(what);
    if (one == nullptr || one->now != state::waiting) return;
    one->now = state::given_up;
    one->reason = place;
    return;
  }
  for (cell& one : node_of(what.node).cells) {
    if (one.now != state::waiting) continue;
    one.now = state::given_up;
    one.reason = place;
  }
}

bool ledger::waits_for(const expected_result& what) const {
  const cell* const one = find(what);
  return one != nullptr && one->now == state::waiting;
}

std::vector<expected_result> ledger::waiting() const {
  std::vector<expected_result> list;
  list.reserve(expected_ - received_);
  for (const node_state& node : nodes_)
    for (const cell& one : node.cells)
      if (one.now == state::waiting)
        list.push_back(
            {node.name, series_[one.what].provider, series_[one.what].option});
  return list;
}

std::chrono::duration<double> ledger::silence(const std::string& node,
                                              clock::time_point now) const {
  const node_state* it = find_node(node);
  if (it == nullptr) return std::chrono::duration<double>(0);
  return now - it->heard_at;
}

bool ledger::answers(const std::string& node) const {
  const node_state* it = find_node(node);
  return it != nullptr && it->received > 0;
}

// Nodes that have never said anything come last: with a small fan-out it may
// just not be their turn.
std::optional<ledger::laggard> ledger::slowest(clock::time_point now) const {
  const node_state* found = nullptr;
  for (const node_state& node : nodes_) {
    if (node.running == 0 || node.expected == node.received) continue;
    const bool better = found == nullptr ||
                        (node.received > 0) > (found->received > 0) ||
                        ((node.received > 0) == (found->received > 0) &&
                         node.heard_at < found->heard_at);
    if (better) found = &node;
  }
  if (found == nullptr) return {};
  laggard result{found->name, "", now - found->heard_at};
  for (const cell& one : found->cells)
    if (one.now == state::waiting) {
      result.provider = series_[one.what].provider;
      return result;
    }
  return {};
}

std::string ledger::name_of(const cell& one) const {
  const series& what = series_[one.what];
  if (what.option.empty() || what.option == "None") return what.provider;
  return what.provider + ":" + what.option;
}

bool ledger::is_answer(const expected_result& what, int exit_status) const {
  const auto known =
      series_places_.find(series_key(what.provider, what.option));
  return is_answer_of(
      known != series_places_.end() && series_[known->second].plugin,
      exit_status);
}

// What was collected with this result, be it whole or not.
why ledger::why_of(const node_state& node, const cell& one) const {
  if (one.now == state::given_up) return reasons_[one.reason];
  why result;
  if (one.now != state::came) {
    result.reason = result.common = "not waited for";
    result.of_node = node.received == 0;
    return result;
  }
  const series& what = series_[one.what];
  const double slack = 1;  // seconds: two clocks
  if (one.exit_status == status_of_a_time_out &&
      one.duration + slack >= static_cast<double>(what.limit.count())) {
    result.kind = shortfall::timed_out;
    result.common = fmt::format("stopped after {:.0f} s ({})",
                                std::round(one.duration), what.limit_text);
  } else if (one.exit_status == status_not_applicable) {
    result.kind = shortfall::not_applicable;
    result.common = "this machine has no such thing";
  } else {
    result.kind = could_not_measure(one.exit_status) ? shortfall::not_measured
                                                     : shortfall::failed;
    result.common = failure_text(one.exit_status);
  }
  result.reason = result.common;
  return result;
}

bool ledger::lacks(const cell& one) const {
  if (one.now == state::waiting) return true;
  return one.now == state::given_up &&
         reasons_[one.reason].kind < shortfall::not_applicable;
}

std::vector<missing_result> ledger::missing() const {
  std::vector<missing_result> list;
  for (const node_state& node : nodes_) {
    bool told_of_node = node.received > 0;
    for (const cell& one : node.cells) {
      if (one.now == state::came || one.now == state::removed) continue;
      const why reason = why_of(node, one);
      if (!told_of_node && lacks(one)) {
        told_of_node = true;
        list.push_back({{node.name, "", ""}, reason.reason, reason.kind});
      }
      const series& what = series_[one.what];
      list.push_back({{node.name, what.provider, what.option},
                      reason.reason,
                      reason.kind});
    }
  }
  return list;
}

std::size_t ledger::lacking() const {
  std::size_t count = 0;
  for (const node_state& node : nodes_)
    count += static_cast<std::size_t>(
        std::count_if(node.cells.begin(), node.cells.end(),
                      [&](const cell& one) { return lacks(one); }));
  return count;
}

std::vector<std::string> ledger::nodes_lacking() const {
  std::vector<std::string> names;
  for (const node_state& node : nodes_)
    if (std::any_of(node.cells.begin(), node.cells.end(),
                    [&](const cell& one) { return lacks(one); }))
      names.push_back(node.name);
  return names;
}

std::vector<shortfall_row> ledger::rows() const {
  row_folder folder;
  for (const node_state& node : nodes_)
    for (const cell& one : node.cells) {
      if (one.now == state::removed) continue;
      if (one.now == state::came &&
          is_answer_of(series_[one.what].plugin, one.exit_status))
        continue;
      const why reason = why_of(node, one);
      folder.add(reason.kind, reason.of_node ? "" : name_of(one), reason.common,
                 node.name);
    }
  for (const not_required& each : not_required_)
    folder.add(shortfall::not_required, each.provider, each.reason, each.node);
  return folder.rows();
}

}  // namespace zelk::collect
