#include "src/collect/src/collect/read_settings.h"

#include <cstdlib>

#include "src/collect/src/collect/command_line.h"
#include "src/collect/src/collect/configuration.h"
#include "src/collect/src/collect/setting_rules.h"
#include "src/common/log/settings.h"
#include "src/common/node/install_root.h"
#include "src/common/preproc/preproc.h"

namespace zelk::collect {

namespace {

void find_install_root(collect_settings& settings) {
  const char* root = std::getenv("ZELK_TEST_INSTALL_ROOT");
  install_root = root != nullptr ? root : node::get_default_path();
  settings.install_root = install_root;
}

void find_configuration(collect_settings& settings) {
  if (!settings.config_file.empty()) {
    settings.origins["config"] = "--config";
    // The programs that are started from here look for the datastore, too.
    ::setenv("ZELK_CONFIG", settings.config_file.c_str(), 1);
    return;
  }
  settings.config_file = environment_variable("ZELK_CONFIG");
  if (!settings.config_file.empty()) {
    settings.origins["config"] = "ZELK_CONFIG";
    return;
  }
  settings.config_file = settings.install_root + "/etc/zelk.xml";
}

// Reads what is the worker's too: where spool files go by default.
bool read_output_directory(collect_settings& settings) {
  Config config;
  config.install_root = settings.install_root;
  settings.output_directory = settings.install_root + "/var/spool";
  if (preproc::read_config(config, settings.config_file) != 0) return false;
  settings.output_directory = config.output_directory;
  return true;
}

bool read_files(collect_settings& settings) {
  if (!read_output_directory(settings) ||
      !read_configuration(settings.config_file, configuration_owner::site,
                          settings))
    return false;
  const std::string own = user_configuration(environment_variable);
  return own.empty() ||
         read_configuration(own, configuration_owner::user, settings);
}

std::string apply_typed(collect_settings& settings, const typed_values& typed) {
  for (const auto& [rule, text] : typed) {
    const std::string problem =
        apply_setting(settings, *rule, text, rule->option);
    if (!problem.empty()) return std::string(rule->option) + ": " + problem;
  }
  if (settings.is_set("async")) settings.async = true;
  return "";
}

}  // namespace

std::string environment_variable(const char* name) {
  const char* value = std::getenv(name);
  return value == nullptr ? "" : value;
}

std::optional<int> read_settings(int argc, const char* const* argv,
                                 collect_settings& settings) {
  find_install_root(settings);
  typed_values typed;
  if (const auto status = read_command_line(argc, argv, settings, typed))
    return status;
  log::LOG_OUTPUT = 0;
  log::LOG_LEVEL = settings.log_level;
  log::LOG_SCOPE_LEVEL = 0;
  find_configuration(settings);
  if (!read_files(settings) && settings.what != action::validate)
    return complain("the configuration cannot be used; nothing was started");
  std::string problem = apply_environment(settings, environment_variable);
  if (!problem.empty()) return complain(problem);
  problem = apply_typed(settings, typed);
  if (!problem.empty()) return complain_of_usage(problem);
  return {};
}

}  // namespace zelk::collect
