#include "src/collect/src/db/run_list.h"

#include <fmt/format.h>

#include <algorithm>
#include <iostream>
#include <optional>
#include <set>
#include <span>

#include "src/collect/src/accumulate/exit_codes.h"
#include "src/collect/src/accumulate/runs.h"
#include "src/collect/src/db/node_sets.h"
#include "src/collect/src/db/run_json.h"
#include "src/collect/src/reading/baseline.h"
#include "src/collect/src/reading/failure.h"
#include "src/common/text/text_table.h"
#include "src/common/text/time_text.h"
#include "src/common/text/visible_text.h"

namespace zelk::db {

namespace {

using accumulate::run;
using accumulate::run_filter;

// Names in one query; SQLite takes 32,766 parameters.
constexpr std::size_t names_per_query = 10'000;

std::int64_t start_of(const std::string& since) {
  if (since.empty()) return 0;
  const std::int64_t present = text::now_usec();
  if (const std::optional<std::int64_t> age = text::duration_usec(since))
    return present - *age;
  if (const std::optional<text::time_span> when =
          text::read_time(since, present))
    return when->from_usec;
  throw reading::refusal("--since: '" + text::visible_text(since) +
                         "' is none of 90s, 15m, 12h, 7d, 2w, 2025-11-20");
}

std::vector<run> runs_of_nodes(datastore::database& base, run_filter filter,
                               const std::vector<std::string>& names) {
  std::vector<run> found;
  std::set<std::int64_t> known;
  for (std::size_t i = 0; i < names.size(); i += names_per_query) {
    const auto part = std::span(names).subspan(
        i, std::min(names_per_query, names.size() - i));
    filter.nodes.assign(part.begin(), part.end());
    for (run& each : accumulate::list_runs(base, filter))
      if (known.insert(each.number).second) found.push_back(std::move(each));
  }
  std::sort(found.begin(), found.end(), [](const run& a, const run& b) {
    return std::pair(a.started_usec, a.number) >
           std::pair(b.started_usec, b.number);
  });
  return found;
}

std::vector<run> find_runs(datastore::database& base,
                           const run_list_options& options) {
  run_filter filter;
  filter.label = options.label;
  filter.started_from_usec = start_of(options.since);
  if (options.nodes.empty()) return accumulate::list_runs(base, filter);
  return runs_of_nodes(base, filter,
                       names_of_sets(options.nodes, options.excluded));
}

std::string share(std::int64_t came, std::int64_t expected) {
  if (expected == 0) return fmt::format("{}", came);
  return fmt::format("{}/{}", came, expected);
}

std::string node_share(const run& each) {
  if (each.nodes_expected == 0) return fmt::format("{}", each.nodes);
  const std::string text = share(each.nodes_answered, each.nodes_expected);
  const std::int64_t strangers = accumulate::nodes_not_expected(each);
  return strangers == 0 ? text
                        : fmt::format("{} +{} not expected", text, strangers);
}

std::string or_dash(const std::string& text) {
  return text.empty() ? "-" : text;
}

// "391 (2025-11-01, 'golden')"
std::string name_of_baseline(datastore::database& base,
                             const reading::stored_baseline& marked) {
  std::string text = fmt::format("{}", marked.run);
  const std::optional<run> found = accumulate::find_run(base, marked.run);
  if (!found) return text;
  const std::string start = text::local_time(found->started_usec);
  text += " (" + start.substr(0, start.find(' '));
  if (!marked.name.empty())
    text += ", '" + text::visible_text(marked.name) + "'";
  return text + ")";
}

// What the datastore says of it, unless the process that should is gone.
std::string state_text(const run& each,
                       const std::set<std::int64_t>& abandoned) {
  if (abandoned.contains(each.number))
    return "interrupted (its process has ended)";
  return std::string(run_state_name(each.state));
}

void print_table(const std::vector<run>& runs,
                 const std::set<std::int64_t>& abandoned,
                 std::int64_t baseline) {
  text::text_table table({{"RUN", true},
                          {"STARTED"},
                          {"TOOK", true},
                          {"LABEL"},
                          {"NODES", true},
                          {"RESULTS", true},
                          {"STATE"},
                          {"NOTE"}});
  for (const run& each : runs)
    table.add(
        {(each.number == baseline ? "*" : "") + fmt::format("{}", each.number),
         text::local_time(each.started_usec),
         each.ended_usec == 0
             ? "-"
             : text::short_duration(each.ended_usec - each.started_usec),
         or_dash(text::visible_text(each.label)), node_share(each),
         share(each.results, each.results_expected),
         state_text(each, abandoned), text::visible_text(each.note)});
  table.write(std::cout);
}

void print_json(const std::vector<run>& runs,
                const std::set<std::int64_t>& abandoned,
                std::int64_t baseline) {
  json list = json::array();
  for (const run& each : runs) {
    json one = json_of_run(each);
    one["abandoned"] = abandoned.contains(each.number);
    one["baseline"] = each.number == baseline;
    list.push_back(std::move(one));
  }
  std::cout << one_line(list) << '\n';
}

}  // namespace

int list_runs(const reading::place& where, const run_list_options& options) {
  if (options.nodes.empty() && !options.excluded.empty())
    throw reading::refusal("--exclude needs --nodes: of which nodes?");
  datastore::database base = reading::open_to_read(where);
  const std::vector<run> runs = find_runs(base, options);
  const std::vector<std::int64_t> numbers = accumulate::abandoned_runs(base);
  const std::set<std::int64_t> abandoned(numbers.begin(), numbers.end());
  const auto marked = reading::read_baseline(base);
  const std::int64_t number = marked ? marked->run : 0;  // 0: no run
  if (options.json) {
    print_json(runs, abandoned, number);
    return accumulate::exit_fine;
  }
  print_table(runs, abandoned, number);
  if (marked)
    std::cout << "* = baseline: " << name_of_baseline(base, *marked) << '\n';
  return accumulate::exit_fine;
}

}  // namespace zelk::db
