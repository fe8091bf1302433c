#include "src/check/command/known_checks.h"

#include <algorithm>
#include <array>
#include <filesystem>
#include <iostream>
#include <set>
#include <system_error>

#include "src/check/input/local_run.h"
#include "src/check/judge/built_in_checks.h"
#include "src/check/judge/glob.h"
#include "src/collect/src/reading/failure.h"
#include "src/common/names/names.h"
#include "src/common/preproc/written_facts.h"
#include "src/common/str/nearest_word.h"
#include "src/common/text/visible_text.h"

namespace zelk::check {

namespace {

constexpr std::array<const char*, 6> endings = {
    generic::differs, generic::outlier, generic::not_unique,
    generic::grew,    generic::changed, generic::state};

std::vector<std::filesystem::path> descriptions_in(const std::string& folder) {
  std::vector<std::filesystem::path> paths;
  std::error_code error;
  for (std::filesystem::directory_iterator each(folder, error), end;
       !error && each != end; each.increment(error))
    if (each->path().extension() == ".xml") paths.push_back(each->path());
  std::sort(paths.begin(), paths.end());
  return paths;
}

// "mounts.v2.xml" describes an older version of "mounts".
std::string provider_of(const std::filesystem::path& description) {
  const std::string stem = description.stem().string();
  return stem.substr(0, stem.find(".v"));
}

bool is_left(const std::string& id, const judge_options& options) {
  return (options.only.empty() || matches_any(options.only, id)) &&
         !matches_any(options.skip, id);
}

[[noreturn]] void refuse(const char* option, const std::string& word,
                         const std::vector<std::string>& known) {
  throw reading::refusal(std::string(option) + "'" + word + "' is no check" +
                         str::did_you_mean(word, known) +
                         "; 'zelk-check --list' lists them");
}

// Names of facts as the descriptions have them: "net.*.mtu".
std::set<std::string> declared_facts(const check_settings& settings) {
  const std::string schema =
      settings.install_root + "/share/zelkara/description.xsd";
  std::set<std::string> names;
  for (const auto& path : descriptions_in(settings.descriptions))
    if (const auto written = preproc::read_written_facts(path.string(), schema))
      for (const preproc::written_fact& fact : written->facts)
        if (const auto name = fact.attributes.find("name");
            name != fact.attributes.end())
          names.insert(pattern_of(name->second));
  return names;
}

struct lost_fact {
  const check_definition* check;
  std::string name;
};

std::vector<lost_fact> facts_not_in(const run_data& run,
                                    const check_set& checks,
                                    const std::string& installed) {
  std::vector<lost_fact> lost;
  for (const check_definition* check : checks.all()) {
    // What we ship is about more machines than one site has.
    if (check->file.empty() || check->file.starts_with(installed)) continue;
    for (const std::string& name : check->facts)
      if (std::none_of(
              run.facts.begin(), run.facts.end(),
              [&](const auto& each) { return matches(name, each.name); }))
        lost.push_back({check, name});
  }
  return lost;
}

}  // namespace

std::vector<std::string> known_ids(const check_settings& settings,
                                   const check_set& checks) {
  std::vector<std::string> known;
  for (const check_definition* each : checks.all())
    known.push_back(each->id);
  for (const auto& path : descriptions_in(settings.descriptions))
    for (const char* ending : endings)
      known.push_back(generic_id(provider_of(path), ending));
  return known;
}

bool is_known_check(const std::string& word,
                    const std::vector<std::string>& known) {
  // A plugin's own state stands under the plugin's name, which nobody
  // describes.
  return word.ends_with(generic::state) ||
         std::any_of(known.begin(), known.end(),
                     [&](const auto& id) { return matches(word, id); });
}

void check_asked(const check_settings& settings, const check_set& checks) {
  const std::vector<std::string> known = known_ids(settings, checks);
  for (const std::string& word : settings.judge.only)
    if (!is_known_check(word, known)) refuse("", word, known);
  for (const std::string& word : settings.judge.skip)
    if (!is_known_check(word, known)) refuse("--skip: ", word, known);
  if (settings.what == action::explain)
    for (const std::string& word : settings.asked)
      if (!is_known_check(word, known)) refuse("", word, known);
  if (std::none_of(known.begin(), known.end(),
                   [&](const auto& id) { return is_left(id, settings.judge); }))
    throw reading::refusal(
        "--skip leaves no check to look at: nothing would be judged");
}

void tell_facts_of_nobody(const check_settings& settings,
                          const check_set& checks, const run_data& run) {
  std::vector<lost_fact> lost =
      facts_not_in(run, checks, settings.install_root + "/etc/checks/");
  if (lost.empty()) return;
  const std::set<std::string> declared = declared_facts(settings);
  std::erase_if(lost, [&](const lost_fact& each) {
    return std::any_of(declared.begin(), declared.end(), [&](const auto& name) {
      return patterns_meet(each.name, name);
    });
  });
  const std::vector<std::string> known(declared.begin(), declared.end());
  for (const lost_fact& each : lost)
    std::cerr << program_name << ": " << each.check->file << ":"
              << each.check->line << ": check '" << each.check->id
              << "': no description declares a fact '"
              << text::visible_text(each.name) << "', and the run has none"
              << str::did_you_mean(each.name, known) << '\n';
}

void tell_acceptances_of_nothing(const check_settings& settings,
                                 const check_set& checks,
                                 const std::vector<acceptance>& all) {
  if (all.empty()) return;
  const std::vector<std::string> known = known_ids(settings, checks);
  for (const acceptance& each : all)
    if (!is_known_check(each.check, known))
      std::cerr << program_name << ": acceptance " << each.id
                << " is of no check: '" << text::visible_text(each.check) << "'"
                << str::did_you_mean(each.check, known)
                << "; 'zelk-db accept revoke " << each.id
                << "' takes it back\n";
}

}  // namespace zelk::check
