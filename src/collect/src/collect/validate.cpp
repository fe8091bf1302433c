#include "src/collect/src/collect/validate.h"

#include <algorithm>
#include <fstream>
#include <nlohmann/json.hpp>
#include <sstream>

#include "src/collect/src/collect/catalogue.h"
#include "src/collect/src/collect/configuration.h"
#include "src/collect/src/collect/read_settings.h"
#include "src/collect/src/collect/suites.h"
#include "src/collect/src/collect/text_table.h"
#include "src/common/node/nodelist.h"
#include "src/common/preproc/preproc.h"
#include "src/common/preproc/provider_options.h"
#include "src/common/xml/document.h"
#include "src/common/xml/query.h"
#include "src/common/xml/xml.h"

namespace zelk::collect {

namespace {

using json = nlohmann::ordered_json;

bool configuration_is_valid(const collect_settings& settings) {
  Config config;
  config.install_root = settings.install_root;
  collect_settings scratch = settings;
  return preproc::read_config(config, settings.config_file) == 0 &&
         read_configuration(settings.config_file, configuration_owner::site,
                            scratch);
}

bool own_is_valid(const std::string& path, const collect_settings& settings) {
  collect_settings scratch = settings;
  return read_configuration(path, configuration_owner::user, scratch);
}

bool options_are_valid(const collect_settings& settings) {
  xmlDoc* opened = nullptr;
  if (!xml::open_and_validate(settings.provider_options_file,
                              settings.install_root + "/provider/provider.xsd",
                              opened))
    return false;
  const xml::unique_doc document(opened);
  preproc::option_table table;
  return preproc::read_provider_options(xml::root(*document),
                                        settings.provider_options_file, table);
}

bool nodefile_is_valid(const std::string& path, validation& found) {
  std::ifstream in(path);
  std::stringstream text;
  if (in) text << in.rdbuf();
  if (!in || in.bad()) {
    found.problems.push_back(path + ": cannot be read");
    return false;
  }
  node::Nodelist list(path);
  list.parse(text);
  text.clear();
  text.seekg(0);
  const std::vector<std::string> problems = node::note_problems(text, path);
  found.problems.insert(found.problems.end(), problems.begin(), problems.end());
  return !list.nodes().empty() && problems.empty();
}

// The first of what keeps a suite from being used; each names its line.
void check_suites(const collect_settings& settings, catalogue& descriptions,
                  validation& found) {
  for (const auto& [name, content] : settings.suites) {
    const std::string problem =
        content_of_suite(name, settings, descriptions).problem;
    if (!problem.empty() &&
        std::count(found.problems.begin(), found.problems.end(), problem) == 0)
      found.problems.push_back(problem);
  }
}

}  // namespace

bool validation::all_valid() const {
  return problems.empty() &&
         std::all_of(files.begin(), files.end(),
                     [](const file& one) { return one.valid; });
}

validation validate_files(const collect_settings& settings) {
  validation found;
  found.files.push_back(
      {settings.config_file, configuration_is_valid(settings)});
  const std::string own = user_configuration(environment_variable);
  if (!own.empty()) found.files.push_back({own, own_is_valid(own, settings)});
  if (!settings.provider_options_file.empty())
    found.files.push_back(
        {settings.provider_options_file, options_are_valid(settings)});
  if (!settings.nodefile.empty())
    found.files.push_back(
        {settings.nodefile, nodefile_is_valid(settings.nodefile, found)});
  catalogue descriptions(settings);
  std::vector<std::string> paths;
  for (const std::string& stem : descriptions.names())
    paths.push_back(descriptions.path_of(stem));
  paths.insert(paths.end(), settings.provider_files.begin(),
               settings.provider_files.end());
  for (const std::string& path : paths)
    found.files.push_back({path, descriptions.read(path) != nullptr});
  check_suites(settings, descriptions, found);
  return found;
}

std::string shown_validation(const collect_settings& settings,
                             const validation& found) {
  if (settings.json) {
    json files = json::array();
    for (const validation::file& one : found.files)
      files.push_back({{"file", one.path}, {"valid", one.valid}});
    const json whole = {{"schema", "zelkara.validation/1"},
                        {"valid", found.all_valid()},
                        {"files", files},
                        {"problems", found.problems}};
    return whole.dump(2, ' ', false, json::error_handler_t::replace) + "\n";
  }
  std::vector<std::string> bad;
  for (const validation::file& one : found.files)
    if (!one.valid) bad.push_back(below(settings.install_root, one.path));
  const std::string count = std::to_string(found.files.size());
  const std::string files = found.files.size() == 1 ? " file" : " files";
  if (bad.empty()) return count + files + ", all valid\n";
  return count + files + ", " + std::to_string(bad.size()) +
         " not valid: " + joined(bad, " ") + "\n";
}

}  // namespace zelk::collect
