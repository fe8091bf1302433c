#include "src/collect/src/collect/list_command.h"

#include <algorithm>
#include <nlohmann/json.hpp>
#include <utility>
#include <vector>

#include "src/collect/src/collect/suites.h"
#include "src/collect/src/collect/text_table.h"

namespace zelk::collect {

namespace {

using json = nlohmann::ordered_json;

struct listed_suite {
  std::string name;  // with "@"
  std::vector<std::string> providers;
  std::string where;
};

std::string nodes_text(const planned_provider& provider) {
  if (!provider.cluster) return "1";
  std::string least = std::to_string(provider.min_nodes);
  if (provider.max_nodes == 0) return "any";
  if (provider.max_nodes == provider.min_nodes) return least;
  return least + "-" + std::to_string(provider.max_nodes);
}

std::string options_text(const planned_provider& provider) {
  std::vector<std::string> ids;
  for (const option_set& set : provider.options)
    ids.push_back(set.id);
  return joined(ids, ",");
}

// The longest, when option sets have limits of their own.
std::string timeout_text(const planned_provider& provider) {
  std::chrono::seconds longest{0};
  for (const option_set& set : provider.options)
    longest = std::max(longest, set.timeout);
  std::string text = std::to_string(longest.count()) + " s";
  if (provider.scale != "constant") text += ", " + provider.scale;
  return text;
}

std::string table(const std::vector<planned_provider>& providers,
                  const std::vector<listed_suite>& suites) {
  std::vector<std::vector<std::string>> rows = {{"PROVIDER", "VERSION", "NODES",
                                                 "TIME-OUT", "MACHINE",
                                                 "OPTION SETS", "DESCRIPTION"}};
  for (const planned_provider& one : providers)
    rows.push_back({one.stem, std::to_string(one.version), nodes_text(one),
                    timeout_text(one), one.architecture, options_text(one),
                    one_line(one.description)});
  std::string text = aligned(rows);
  std::vector<std::vector<std::string>> lines = {
      {"SUITE", "PROVIDERS", "FROM", "CONTENT"}};
  for (const listed_suite& one : suites)
    lines.push_back({one.name, std::to_string(one.providers.size()), one.where,
                     joined(one.providers, " ")});
  return text + "\n" + aligned(lines);
}

json provider_json(const planned_provider& one) {
  json options = json::array();
  for (const option_set& set : one.options)
    options.push_back({{"id", set.id}, {"timeout_s", set.timeout.count()}});
  return {{"provider", one.stem},
          {"name", one.name},
          {"version", one.version},
          {"description", one_line(one.description)},
          {"cluster", one.cluster},
          {"min_nodes", one.min_nodes},
          {"max_nodes", one.max_nodes},
          {"architecture", one.architecture},
          {"scale", one.scale},
          {"options", options},
          {"path", one.path}};
}

std::string document(const std::vector<planned_provider>& providers,
                     const std::vector<listed_suite>& suites) {
  json all = json::array();
  for (const planned_provider& one : providers)
    all.push_back(provider_json(one));
  json groups = json::array();
  for (const listed_suite& one : suites)
    groups.push_back({{"suite", one.name},
                      {"providers", one.providers},
                      {"origin", one.where}});
  const json whole = {{"schema", "zelkara.providers/1"},
                      {"providers", all},
                      {"suites", groups}};
  return whole.dump(2, ' ', false, json::error_handler_t::replace) + "\n";
}

std::string origin_of_suite(const std::string& name,
                            const collect_settings& settings) {
  const auto found = settings.suites.find(name.substr(1));
  if (found == settings.suites.end()) return "built-in";
  return below(settings.install_root, found->second.where);
}

std::vector<planned_provider> installed_providers(catalogue& descriptions,
                                                  provider_list& made) {
  std::vector<planned_provider> all;
  for (const std::string& stem : descriptions.names()) {
    const planned_provider* one = descriptions.read(descriptions.path_of(stem));
    if (one != nullptr)
      all.push_back(*one);
    else
      ++made.unusable;
  }
  return all;
}

std::vector<listed_suite> all_suites(const collect_settings& settings,
                                     catalogue& descriptions,
                                     provider_list& made) {
  collect_settings usable = settings;
  for (const std::string& stem : descriptions.names())
    if (descriptions.read(descriptions.path_of(stem)) == nullptr)
      usable.skipped.push_back(stem);
  std::vector<listed_suite> all;
  for (const std::string& name : suite_names(settings)) {
    suite_content content =
        content_of_suite(name.substr(1), usable, descriptions);
    if (content.problem.empty())
      all.push_back(
          {name, std::move(content.names), origin_of_suite(name, settings)});
    else
      made.problems.push_back(content.problem);
  }
  return all;
}

}  // namespace

provider_list list_providers(const collect_settings& settings,
                             catalogue& descriptions) {
  provider_list made;
  std::vector<planned_provider> providers;
  if (settings.wanted.empty() && settings.provider_files.empty()) {
    providers = installed_providers(descriptions, made);
  } else {
    chosen_providers chosen = choose_providers(settings, descriptions);
    if (!chosen.problem.empty()) made.problems.push_back(chosen.problem);
    providers = std::move(chosen.providers);
  }
  const std::vector<listed_suite> suites =
      all_suites(settings, descriptions, made);
  made.text =
      settings.json ? document(providers, suites) : table(providers, suites);
  return made;
}

}  // namespace zelk::collect
