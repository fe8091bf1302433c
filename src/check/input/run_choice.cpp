#include "src/check/input/run_choice.h"

#include <algorithm>

#include "src/collect/src/reading/baseline.h"
#include "src/collect/src/reading/failure.h"
#include "src/collect/src/reading/run_selection.h"

namespace zelk::check {

namespace {

using accumulate::run;
using datastore::database;

// Older ones are looked at by nobody.
constexpr std::int64_t most_listed = 1000;

bool before(const run& a, const run& b) {
  return a.started_usec != b.started_usec ? a.started_usec < b.started_usec
                                          : a.number < b.number;
}

// Those that can be compared with `now`, the newest first.
std::vector<run> earlier_runs(database& base, const run& now) {
  accumulate::run_filter filter;
  filter.started_until_usec = now.started_usec + 1;
  filter.limit = most_listed;
  std::vector<run> found = accumulate::list_runs(base, filter);
  std::erase_if(found, [&](const run& each) {
    return !before(each, now) || each.ended_usec == 0 ||
           each.results * 2 < now.results;
  });
  return found;
}

constexpr char label_prefix[] = "label:";

// "label:X" means the newest earlier one with it: with a label that is given
// every night the run that is judged has it, too.
std::optional<run> earlier_of_label(database& base, const run& now,
                                    const std::string& asked) {
  if (!asked.starts_with(label_prefix)) return {};
  accumulate::run_filter filter;
  filter.label = asked.substr(sizeof label_prefix - 1);
  if (filter.label.empty()) return {};  // that is any
  filter.started_until_usec = now.started_usec + 1;
  for (run& each : accumulate::list_runs(base, filter))
    if (before(each, now)) return std::move(each);
  return {};
}

}  // namespace

std::optional<run> choose_baseline(database& base, const run& now,
                                   const std::string& asked) {
  if (asked == "none") return {};
  if (!asked.empty()) {
    if (std::optional<run> found = earlier_of_label(base, now, asked))
      return found;
    const run named = reading::select_run(base, asked);
    if (named.number == now.number)
      throw reading::refusal("--baseline: " + reading::name_of_run(now) +
                             " is the run that is judged");
    return named;
  }
  const std::optional<std::int64_t> number = reading::marked_baseline(base);
  if (number && *number != now.number)
    if (std::optional<run> found = accumulate::find_run(base, *number))
      return found;
  const std::vector<run> found = earlier_runs(base, now);
  const auto alike =
      std::find_if(found.begin(), found.end(),
                   [&](const run& each) { return each.label == now.label; });
  if (alike != found.end()) return *alike;
  if (found.empty()) return {};
  return found.front();
}

std::vector<run> choose_history(database& base, const run& now,
                                const history_budget& budget) {
  std::vector<run> chosen;
  std::int64_t left = budget.results;
  for (const run& each : earlier_runs(base, now)) {
    if (each.label != now.label) continue;
    const bool loaded = each.number == budget.loaded;
    if (chosen.size() == budget.runs) break;
    if (!loaded && each.results > left) break;
    if (!loaded) left -= each.results;
    chosen.push_back(each);
  }
  return chosen;
}

}  // namespace zelk::check
