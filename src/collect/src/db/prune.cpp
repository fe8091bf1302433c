#include "src/collect/src/db/prune.h"

#include <fmt/format.h>
#include <unistd.h>

#include <algorithm>
#include <charconv>
#include <iostream>
#include <optional>
#include <set>

#include "src/collect/src/accumulate/exit_codes.h"
#include "src/collect/src/accumulate/runs.h"
#include "src/collect/src/reading/baseline.h"
#include "src/collect/src/reading/failure.h"
#include "src/collect/src/reading/run_selection.h"
#include "src/common/text/size_text.h"
#include "src/common/text/time_text.h"
#include "src/common/text/visible_text.h"

namespace zelk::db {

namespace {

using accumulate::run;
using datastore::database;

// What --keep says.
struct keeping {
  std::int64_t newest = 0;              // so many runs
  std::int64_t since_usec = INT64_MAX;  // and those that started since
};

keeping read_keep(const std::string& text) {
  keeping result;
  if (text.empty()) return result;
  const char* end = text.data() + text.size();
  const auto [stop, error] = std::from_chars(text.data(), end, result.newest);
  if (error == std::errc() && stop == end && result.newest >= 0) return result;
  const std::optional<std::int64_t> age = text::duration_usec(text);
  if (!age)
    throw reading::refusal(
        "--keep: '" + text::visible_text(text) +
        "' is neither a number of runs nor one of 12h, 30d, 8w");
  result.newest = 0;
  result.since_usec = text::now_usec() - *age;
  return result;
}

bool keeps_label(const prune_options& options, const std::string& label) {
  if (label.empty()) return false;
  return options.keep_labels.empty() ||
         std::find(options.keep_labels.begin(), options.keep_labels.end(),
                   label) != options.keep_labels.end();
}

// What keeps runs from going.
struct protections {
  keeping keep;
  std::set<std::int64_t> newest;
  std::set<std::int64_t> abandoned;  // that only say they are running
  std::optional<std::int64_t> baseline;
};

constexpr char is_baseline[] =
    "it is the baseline; --force removes it all the same, and 'zelk-db "
    "baseline clear' makes it a run like others";

// "", or why the run stays.
std::string reason_to_stay(const run& each, const protections& all,
                           const prune_options& options) {
  if (each.state == accumulate::run_state::running &&
      !all.abandoned.contains(each.number))
    return "it is running";
  if (all.newest.contains(each.number)) return "it is one of the newest";
  if (each.started_usec >= all.keep.since_usec) return "it is new enough";
  if (keeps_label(options, each.label)) return "it has a label";
  if (each.number == all.baseline && !options.force) return is_baseline;
  return "";
}

// Runs that say they are running, and that nobody fills any more.
std::set<std::int64_t> abandoned_runs(database& base) {
  const std::vector<std::int64_t> numbers = accumulate::abandoned_runs(base);
  return {numbers.begin(), numbers.end()};
}

std::set<std::int64_t> newest_runs(database& base, std::int64_t count) {
  std::set<std::int64_t> numbers;
  if (count == 0) return numbers;  // for list_runs() that is no limit
  accumulate::run_filter filter;
  filter.limit = count;
  for (const run& each : accumulate::list_runs(base, filter))
    numbers.insert(each.number);
  return numbers;
}

protections find_protections(database& base, const prune_options& options) {
  const keeping keep = read_keep(options.keep);
  return {keep, newest_runs(base, keep.newest), abandoned_runs(base),
          reading::marked_baseline(base)};
}

// The runs that go, the oldest first.
std::vector<run> select(database& base, const prune_options& options) {
  const protections protect = find_protections(base, options);
  std::vector<run> all = accumulate::list_runs(base);
  std::reverse(all.begin(), all.end());
  if (!options.runs.empty()) all = reading::select_runs(base, options.runs);
  std::vector<run> going;
  for (const run& each : all) {
    const std::string why = reason_to_stay(each, protect, options);
    if (why.empty()) {
      going.push_back(each);
      continue;
    }
    const bool unexpected = !options.runs.empty() || why == is_baseline;
    if (unexpected && !options.quiet)
      std::cerr << "zelk-db: " << reading::name_of_run(each)
                << " stays: " << why << "\n";
  }
  return going;
}

void announce(const std::vector<run>& runs, const char* words) {
  for (const run& each : runs)
    std::cout << words << reading::name_of_run(each) << ", "
              << text::counted(each.results, "result") << '\n';
  std::cout.flush();
}

// Requires: both are terminals.
bool is_agreed(const std::vector<run>& runs) {
  announce(runs, "");
  std::cerr << "Remove "
            << text::counted(static_cast<std::int64_t>(runs.size()), "run")
            << " for good? [y/N] " << std::flush;
  std::string answer;
  std::getline(std::cin, answer);
  return answer == "y" || answer == "Y" || answer == "yes";
}

void check_agreement(const std::vector<run>& runs,
                     const prune_options& options) {
  if (options.yes) return;
  const bool terminal =
      ::isatty(STDIN_FILENO) == 1 && ::isatty(STDERR_FILENO) == 1;
  if (!terminal)
    throw reading::refusal(
        "To remove " +
        text::counted(static_cast<std::int64_t>(runs.size()), "run") +
        " needs --yes here; --dry-run lists what would go");
  if (!is_agreed(runs)) throw reading::refusal("Nothing was removed");
}

// The run as it is now: somebody may have changed it since it was selected.
bool may_still_go(database& base, const run& each,
                  const prune_options& options) {
  const std::optional<run> now = accumulate::find_run(base, each.number);
  return now &&
         (now->state != accumulate::run_state::running ||
          abandoned_runs(base).contains(each.number)) &&
         !keeps_label(options, now->label) &&
         (options.force || reading::marked_baseline(base) != each.number);
}

int remove(const reading::place& where, const std::vector<run>& runs,
           const prune_options& options) {
  database base = reading::open_to_write(where);
  std::int64_t results = 0;
  std::int64_t removed = 0;
  for (const run& each : runs) {
    if (!may_still_go(base, each, options)) continue;
    results += accumulate::remove_run(base, each.number);
    ++removed;
    if (!options.quiet)
      std::cout << "removed " << reading::name_of_run(each) << std::endl;
  }
  base.checkpoint();
  if (!options.quiet)
    std::cout << fmt::format(
        "{} with {} removed, {} left; 'zelk-db vacuum' gives their space back "
        "to "
        "the disk\n",
        text::counted(removed, "run"), text::counted(results, "result"),
        base.integer("SELECT count(*) FROM v_run"));
  return accumulate::exit_fine;
}

}  // namespace

int prune_runs(const reading::place& where, const prune_options& options) {
  if (options.keep.empty() && options.runs.empty())
    throw reading::refusal("prune needs --keep DUR|N or runs: what may go?");
  const std::vector<run> runs = [&] {
    database base = reading::open_to_read(where);
    return select(base, options);
  }();
  if (options.dry_run) announce(runs, "would remove ");
  if (runs.empty() && !options.quiet) std::cout << "nothing to remove\n";
  if (options.dry_run || runs.empty()) return accumulate::exit_fine;
  check_agreement(runs, options);
  return remove(where, runs, options);
}

}  // namespace zelk::db
