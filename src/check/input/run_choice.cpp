#include "src/check/input/run_choice.h"

#include <algorithm>
#include <charconv>
#include <string_view>
#include <system_error>
#include <utility>

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

// So many runs are looked into; a scheduler that measures a node at a time has
// many that share nothing.
constexpr std::size_t most_compared = 50;

// Results of `now` that `other` has too, by node, provider and option set.
std::int64_t shared_results(database& base, const run& now, const run& other) {
  datastore::statement query(
      base,
      "SELECT count(*) FROM (SELECT node, provider, option_id FROM v_result "
      "WHERE run = ?1 INTERSECT SELECT node, provider, option_id FROM v_result "
      "WHERE run = ?2)");
  query.bind(1, now.number).bind(2, other.number);
  return query.step() ? query.integer(0) : 0;
}

// Of those `found`, the newest first, the first that has half of what `now`
// has, those with its label before others; else the one that has most.
std::optional<run> most_alike(database& base, const run& now,
                              std::vector<run> found) {
  std::stable_partition(found.begin(), found.end(), [&](const run& each) {
    return each.label == now.label;
  });
  if (found.size() > most_compared) found.resize(most_compared);
  std::optional<run> best;
  std::int64_t most = 0;
  for (const run& each : found) {
    const std::int64_t shared = shared_results(base, now, each);
    if (shared * 2 >= now.results) return each;
    if (shared <= most) continue;
    most = shared;
    best = each;
  }
  return best;
}

constexpr char latest_word[] = "latest";
constexpr char latest_prefix[] = "latest~";

// The text behind `prefix` as a number; nothing when it is none.
std::optional<std::size_t> count_behind(std::string_view prefix,
                                        std::string_view text) {
  if (!text.starts_with(prefix)) return {};
  std::size_t count = 0;
  const char* end = text.data() + text.size();
  const auto [stop, error] =
      std::from_chars(text.data() + prefix.size(), end, count);
  const bool is_number = error == std::errc() && stop == end;
  return is_number ? std::optional(count) : std::nullopt;
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

// The newest but `skipped` that has ended, of those that `filter` lets through.
std::optional<chosen_run> newest_ended(database& base,
                                       const accumulate::run_filter& filter,
                                       std::size_t skipped) {
  chosen_run chosen;
  for (run& each : accumulate::list_runs(base, filter)) {
    if (each.ended_usec == 0) {
      if (chosen.newer == 0) chosen.newer = each.number;
    } else if (skipped-- == 0) {
      chosen.run = std::move(each);
      return chosen;
    }
  }
  return {};
}

}  // namespace

chosen_run choose_run(database& base, const std::string& asked) {
  accumulate::run_filter filter;
  std::optional<std::size_t> skipped = count_behind(latest_prefix, asked);
  if (asked == latest_word) skipped = 0;
  if (asked.starts_with(label_prefix) &&
      asked.size() > sizeof label_prefix - 1) {
    filter.label = asked.substr(sizeof label_prefix - 1);
    skipped = 0;
  }
  if (skipped)
    if (std::optional<chosen_run> found = newest_ended(base, filter, *skipped))
      return *found;
  return {reading::select_run(base, asked), 0};
}

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
      if (before(*found, now)) return found;
  return most_alike(base, now, earlier_runs(base, now));
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
