#include "src/collect/src/db/baseline_command.h"

#include <fmt/format.h>

#include <iostream>
#include <optional>

#include "src/collect/src/accumulate/exit_codes.h"
#include "src/collect/src/accumulate/marks.h"
#include "src/collect/src/db/login_name.h"
#include "src/collect/src/db/run_json.h"
#include "src/collect/src/reading/baseline.h"
#include "src/collect/src/reading/failure.h"
#include "src/collect/src/reading/run_selection.h"
#include "src/common/text/text_table.h"
#include "src/common/text/time_text.h"
#include "src/common/text/visible_text.h"

namespace zelk::db {

namespace {

using accumulate::run;
using accumulate::run_state;
using datastore::database;

// A comparison with it would call everything new that is missing in it.
void check_fitness(const run& wanted) {
  const std::string name = reading::name_of_run(wanted);
  if (wanted.state == run_state::running)
    throw reading::refusal(
        name +
        " is running; a baseline is a run that has ended (one whose process "
        "has died is ended by 'zelk-db check --repair')");
  if (wanted.results == 0)
    throw reading::refusal(name + " has no results to compare with");
}

int set_baseline(const reading::place& where, const baseline_options& options) {
  database base = reading::open_to_write(where);
  const run wanted = reading::select_run(base, options.run);
  check_fitness(wanted);
  const std::optional<std::int64_t> before = reading::marked_baseline(base);
  const std::string who = options.who.empty() ? login_name() : options.who;
  if (!accumulate::mark_baseline(
          base, {wanted.number, options.name, who, text::now_usec()}))
    throw reading::failure(reading::name_of_run(wanted) + " has been removed");
  if (wanted.state != run_state::complete)
    std::cerr << "zelk-db: " << reading::name_of_run(wanted) << " is "
              << run_state_name(wanted.state)
              << ": what it lacks cannot be compared with\n";
  if (options.quiet) return accumulate::exit_fine;
  std::cout << "baseline: " << reading::name_of_run(wanted);
  if (before && *before != wanted.number)
    std::cout << "; before it was run " << *before;
  std::cout << '\n';
  return accumulate::exit_fine;
}

int clear_baseline(const reading::place& where, bool quiet) {
  database base = reading::open_to_write(where);
  const std::optional<std::int64_t> before = reading::marked_baseline(base);
  accumulate::clear_baseline(base);
  if (quiet) return accumulate::exit_fine;
  std::cout << (before
                    ? fmt::format("run {} is the baseline no more\n", *before)
                    : std::string("no run was marked\n"));
  return accumulate::exit_fine;
}

void print_json(const std::optional<reading::stored_baseline>& found,
                const run& of) {
  json list = json::array();
  if (found)
    list.push_back({{"run", found->run},
                    {"uuid", of.uuid},
                    {"started", text::utc_time(of.started_usec)},
                    {"label", json_of_bytes(of.label)},
                    {"name", json_of_bytes(found->name)},
                    {"marked", text::utc_time(found->made_usec)},
                    {"who", json_of_bytes(found->who)}});
  std::cout << one_line(list) << '\n';
}

void print_table(const reading::stored_baseline& found, const run& of) {
  text::text_table table(
      {{"RUN", true}, {"STARTED"}, {"LABEL"}, {"NAME"}, {"MARKED"}, {"BY"}});
  const auto shown = [](const std::string& text) {
    return text.empty() ? std::string("-") : text::visible_text(text);
  };
  table.add({fmt::format("{}", found.run), text::local_time(of.started_usec),
             shown(of.label), shown(found.name),
             text::local_time(found.made_usec), shown(found.who)});
  table.write(std::cout);
}

int list_baseline(const reading::place& where, bool as_json) {
  database base = reading::open_to_read(where);
  const std::optional<reading::stored_baseline> found =
      reading::read_baseline(base);
  const std::optional<run> marked =
      found ? accumulate::find_run(base, found->run) : std::nullopt;
  const run of = marked.value_or(run());
  if (as_json)
    print_json(found, of);
  else if (found)
    print_table(*found, of);
  else
    std::cout << "no run is marked\n";
  return accumulate::exit_fine;
}

}  // namespace

int manage_baseline(const reading::place& where,
                    const baseline_options& options) {
  switch (options.what) {
    case baseline_action::set:
      return set_baseline(where, options);
    case baseline_action::clear:
      return clear_baseline(where, options.quiet);
    case baseline_action::list:
      break;
  }
  return list_baseline(where, options.json);
}

}  // namespace zelk::db
