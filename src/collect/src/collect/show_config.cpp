#include "src/collect/src/collect/show_config.h"

#include <nlohmann/json.hpp>
#include <vector>

#include "src/collect/src/collect/setting_rules.h"
#include "src/collect/src/collect/text_table.h"

namespace zelk::collect {

namespace {

using json = nlohmann::ordered_json;

constexpr char built_in[] = "built-in";

struct shown {
  std::string name;
  std::string value;
  std::string origin;
};

std::string origin_of(const collect_settings& settings,
                      const std::string& name) {
  const auto found = settings.origins.find(name);
  return found == settings.origins.end() ? built_in : found->second;
}

std::vector<shown> all_settings(const collect_settings& settings) {
  const std::string root =
      settings.install_root.empty() ? std::string("/") : settings.install_root;
  std::vector<shown> all = {
      {"install_root", root, "found through the program"},
      {"config", settings.config_file, origin_of(settings, "config")},
      {"output_directory", settings.output_directory, settings.config_file},
  };
  for (const setting_rule& rule : setting_rules())
    all.push_back(
        {rule.name, rule.show(settings), origin_of(settings, rule.name)});
  all.push_back({"async", settings.async ? "yes" : "no",
                 settings.async && !settings.is_set("async")
                     ? origin_of(settings, "launcher")
                     : origin_of(settings, "async")});
  return all;
}

std::string members_of(const suite& content) {
  std::vector<std::string> names;
  for (const suite::member& member : content.members)
    names.push_back(member.name);
  return joined(names, " ");
}

json suites_json(const collect_settings& settings) {
  json suites = json::array();
  for (const auto& [name, content] : settings.suites) {
    json members = json::array();
    for (const suite::member& member : content.members)
      members.push_back(member.name);
    suites.push_back(
        {{"name", name}, {"providers", members}, {"origin", content.where}});
  }
  return suites;
}

}  // namespace

std::string shown_settings(const collect_settings& settings) {
  std::vector<std::vector<std::string>> rows = {{"SETTING", "VALUE", "FROM"}};
  for (const shown& one : all_settings(settings))
    rows.push_back(
        {one.name, one.value.empty() ? "-" : one_line(one.value), one.origin});
  for (const auto& [name, content] : settings.suites)
    rows.push_back({"suite @" + name, members_of(content), content.where});
  return aligned(rows);
}

std::string settings_json(const collect_settings& settings) {
  json all = json::array();
  for (const shown& one : all_settings(settings))
    all.push_back(
        {{"name", one.name}, {"value", one.value}, {"origin", one.origin}});
  const json document = {{"schema", "zelkara.settings/1"},
                         {"settings", all},
                         {"suites", suites_json(settings)}};
  return document.dump(2, ' ', false, json::error_handler_t::replace) + "\n";
}

}  // namespace zelk::collect
