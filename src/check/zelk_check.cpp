// Judges a run: which nodes are unhealthy, which are suspect, why, since when,
// and what to do.
//
// What it does is in command/; here it is only chosen, and how it ends is told.

#include <exception>
#include <iostream>
#include <optional>

#include "src/check/command/command_line.h"
#include "src/check/command/judge_run.h"
#include "src/check/command/local_check.h"
#include "src/check/command/questions.h"
#include "src/check/command/read_settings.h"
#include "src/check/command/settings.h"
#include "src/check/command/watchdog.h"
#include "src/check/command/write_outputs.h"
#include "src/common/cli/standard_output.h"

namespace zelk::check {
namespace {

int report(const check_settings& settings) {
  check_outputs(settings);
  const judged_run judged = judge_run(settings, read_checks(settings));
  write_outputs(settings, judged);
  const int status = exit_status(judged.what, settings.report.threshold,
                                 settings.report.only_new);
  return settings.exit_zero && status != status_cannot_tell ? status_fine
                                                            : status;
}

int answer_in_time(const check_settings& settings) {
  const watchdog limit(settings.timeout, "no answer", settings.is_plugin());
  switch (settings.what) {
    case action::list:
      return list_checks(settings);
    case action::explain:
      return explain_checks(settings);
    case action::show_nodes:
      return show_nodes(settings);
    case action::differences:
      return show_differences(settings);
    default:
      return report(settings);
  }
}

int perform(const check_settings& settings) {
  if (settings.what == action::local) return check_locally(settings);
  const int status = answer_in_time(settings);
  show_page(settings);
  return status;
}

}  // namespace
}  // namespace zelk::check

int main(int argc, char* argv[]) {
  using namespace zelk::check;
  std::ios::sync_with_stdio(false);
  check_settings settings;
  try {
    if (const auto status = read_settings(argc, argv, settings))
      return zelk::cli::checked_output(program_name, *status,
                                       status_cannot_tell);
    return zelk::cli::checked_output(program_name, perform(settings),
                                     status_cannot_tell);
  } catch (const std::exception& error) {
    return complain(settings, error.what());
  }
}
