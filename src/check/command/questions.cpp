#include "src/check/command/questions.h"

#include <algorithm>
#include <iostream>
#include <optional>
#include <string>
#include <vector>

#include "src/check/command/judge_run.h"
#include "src/check/command/write_outputs.h"
#include "src/check/input/node_notes.h"
#include "src/collect/src/reading/failure.h"
#include "src/common/datastore/store_error.h"
#include "src/common/node/tokenized_host.h"
#include "src/common/str/nearest_word.h"

namespace zelk::check {

namespace {

using reading::refusal;

check_definition definition_of(const check_set& checks, const std::string& id) {
  if (const check_definition* found = checks.find(id)) return *found;
  if (std::optional<check_definition> made = checks.generic(id)) return *made;
  std::vector<std::string> known;
  for (const check_definition* each : checks.all())
    known.push_back(each->id);
  throw refusal("'" + id + "' is no check" + str::did_you_mean(id, known) +
                "; 'zelk-check --list' lists them");
}

// What a check means can be told without a run, too.
std::optional<judged_run> judged_if_there_is_one(const check_settings& settings,
                                                 const check_set& checks) {
  try {
    return judge_run(settings, checks);
  } catch (const refusal& error) {
    if (settings.run != "latest") throw;
    if (!settings.quiet)
      std::cerr << program_name << ": without a run: " << error.what() << '\n';
  } catch (const datastore::store_error& error) {
    if (!settings.quiet)
      std::cerr << program_name << ": without a run: " << error.what() << '\n';
  }
  return {};
}

std::vector<std::string> things_to_differ(const run_data& run) {
  std::vector<std::string> names;
  for (const provider_info& each : run.providers)
    names.push_back(each.name);
  for (const fact_column& each : run.facts)
    if (names.back() != each.name) names.push_back(each.name);
  return names;
}

}  // namespace

int list_checks(const check_settings& settings) {
  const check_set checks = read_checks(settings);
  const report_options options = report_options_for(settings, true);
  write_as_text(options, std::cout, [&](std::ostream& out) {
    write_check_list(checks.all(), options, out);
  });
  return status_fine;
}

int explain_checks(const check_settings& settings) {
  const check_set checks = read_checks(settings);
  std::vector<check_definition> asked;
  for (const std::string& id : settings.asked)
    asked.push_back(definition_of(checks, id));
  const std::optional<judged_run> judged =
      judged_if_there_is_one(settings, checks);
  const report_options options = report_options_for(settings, true);
  write_as_text(options, std::cout, [&](std::ostream& out) {
    for (const check_definition& each : asked)
      write_explanation(each, judged ? &judged->what : nullptr, options, out);
  });
  return status_fine;
}

int show_nodes(const check_settings& settings) {
  const judged_run judged = judge_run(settings, read_checks(settings));
  node_groups groups = groups_of(judged.run);
  add_classes(groups, judged.what.classes);
  asked_groups others(limit_of_questions(settings.timeout));
  const std::vector<std::string> names =
      names_of("--show node", settings.asked, groups, others);
  report_options options = report_options_for(settings, true);
  if (settings.all) options.limit_rows = 0;
  std::vector<std::string> unknown;
  write_as_text(options, std::cout, [&](std::ostream& out) {
    unknown = write_nodes(judged.what, judged.run, names, options, out);
  });
  if (unknown.empty()) return status_fine;
  throw refusal("the run neither expected nor has " +
                TokenizedHost::get_merged_hosts(unknown));
}

int show_differences(const check_settings& settings) {
  const check_set checks = read_checks(settings);
  const judged_run judged = judge_run(settings, checks);
  const report_options options = report_options_for(settings, true);
  allowances allowed(checks, settings.judge);
  difference_wish wish{settings.difference, {}};
  if (!settings.all)
    wish.allowed = [&](const fact_column& fact) { return allowed.of(fact); };
  bool is_known = false;
  write_as_text(options, std::cout, [&](std::ostream& out) {
    is_known = write_differences(judged.run, judged.what, wish, options, out);
  });
  if (is_known) return status_fine;
  if (std::any_of(judged.run.providers.begin(), judged.run.providers.end(),
                  [&](const provider_info& each) {
                    return each.name == settings.difference;
                  }))
    throw refusal("--diff: no fact was read out of what '" +
                  settings.difference + "' says in this run");
  throw refusal(
      "--diff: the run has no provider and no fact '" + settings.difference +
      "'" +
      str::did_you_mean(settings.difference, things_to_differ(judged.run)));
}

}  // namespace zelk::check
