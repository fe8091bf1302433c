#include "src/collect/src/collect/prepare.h"

#include <algorithm>
#include <iostream>
#include <utility>

#include "src/collect/src/collect/catalogue.h"
#include "src/collect/src/collect/command_line.h"
#include "src/collect/src/collect/dry_run.h"
#include "src/collect/src/collect/exit_codes.h"
#include "src/collect/src/collect/launcher.h"
#include "src/collect/src/collect/list_command.h"
#include "src/collect/src/collect/make_plan.h"
#include "src/collect/src/collect/node_selection.h"
#include "src/collect/src/collect/read_settings.h"
#include "src/collect/src/collect/setting_rules.h"
#include "src/collect/src/collect/show_config.h"
#include "src/collect/src/collect/suites.h"
#include "src/collect/src/collect/surroundings.h"
#include "src/collect/src/collect/validate.h"

namespace zelk::collect {

namespace {

// Standard output that cannot be written (a full disk, a reader that has gone)
// is no answer.
int answer(const std::string& text, int status) {
  std::cout << text << std::flush;
  return std::cout ? status : static_cast<int>(exit_nothing);
}

void tell(const collect_settings& settings,
          const std::vector<std::string>& remarks) {
  if (settings.quiet) return;
  for (const std::string& remark : remarks)
    std::cerr << program_name << ": " << remark << '\n';
}

int show_settings(const collect_settings& settings) {
  return answer(
      settings.json ? settings_json(settings) : shown_settings(settings),
      exit_complete);
}

int validate(const collect_settings& settings) {
  const validation found = validate_files(settings);
  for (const std::string& problem : found.problems)
    complain(problem);
  return answer(shown_validation(settings, found),
                found.all_valid() ? exit_complete : exit_unusable);
}

int list(const collect_settings& settings, catalogue& descriptions) {
  const provider_list made = list_providers(settings, descriptions);
  for (const std::string& problem : made.problems)
    complain(problem);
  const bool fine = made.problems.empty() && made.unusable == 0;
  return answer(made.text, fine ? exit_complete : exit_partial);
}

// Nothing said which nodes: it is this machine, without a way to it.
void use_this_machine(collect_settings& settings) {
  const auto origin = settings.origins.find("launcher");
  if (origin != settings.origins.end() && origin->second == "--launcher")
    return;
  settings.launcher = "local";
  settings.origins["launcher"] = "no nodes were named";
}

int dry_run(const collect_settings& settings, const plan& made) {
  const name_resolution names =
      settings.launcher == "local" ? name_resolution{} : resolve_nodes(made);
  return answer(shown_plan(settings, made, names), exit_complete);
}

int complain_of_nothing(const plan& made) {
  const not_required& first = made.not_required.front();
  return complain("nothing would run: " + first.provider + ": " + first.reason);
}

// Returns the exit status of an answer that needs no nodes.
std::optional<int> answered(const collect_settings& settings,
                            catalogue& descriptions) {
  if (settings.what == action::show_config) return show_settings(settings);
  if (settings.what == action::validate) return validate(settings);
  if (!descriptions.read_options())
    return complain("the provider options cannot be used");
  if (settings.what == action::list) return list(settings, descriptions);
  return {};
}

}  // namespace

std::optional<int> prepare(int argc, const char* const* argv,
                           collect_settings& settings, plan& made) {
  if (const auto status = read_settings(argc, argv, settings)) return status;
  const std::string launcher = none_of(settings.launcher, launcher_kinds());
  if (!launcher.empty()) return complain_of_usage("--launcher: " + launcher);
  catalogue descriptions(settings);
  if (const auto status = answered(settings, descriptions)) return status;

  chosen_providers chosen = choose_providers(settings, descriptions);
  if (!chosen.problem.empty()) return complain(chosen.problem);
  node_selection selection = select_nodes(settings, real_surroundings());
  if (!selection.problem.empty()) return complain(selection.problem);
  if (selection.only_this_machine) use_this_machine(settings);
  made = make_plan(settings, descriptions, std::move(selection),
                   std::move(chosen.providers));
  tell(settings, made.remarks);
  if (settings.what == action::dry_run) return dry_run(settings, made);
  if (expected_results(made) == 0 && settings.what == action::collect)
    return complain_of_nothing(made);
  return {};
}

}  // namespace zelk::collect
