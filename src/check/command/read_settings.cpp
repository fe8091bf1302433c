#include "src/check/command/read_settings.h"

#include <unistd.h>

#include <cstdlib>

#include "src/check/command/command_line.h"
#include "src/check/command/configuration.h"
#include "src/common/log/settings.h"
#include "src/common/names/names.h"
#include "src/common/node/install_root.h"

namespace zelk::check {

namespace {

std::string variable(const char* name) {
  const char* value = std::getenv(name);
  return value == nullptr ? "" : value;
}

void find_install_root(check_settings& settings) {
  const std::string root = variable("ZELK_TEST_INSTALL_ROOT");
  install_root = root.empty() ? node::get_default_path() : root;
  settings.install_root = install_root;
}

void take(std::string& to, const std::string& value) {
  if (to.empty()) to = value;
}

bool read_nodefile_from(const std::string& path,
                        preproc::configuration_owner owner,
                        check_settings& settings) {
  const std::optional<std::string> found =
      configured_nodefile(path, owner, settings.install_root);
  if (found) take(settings.nodefile, *found);
  return found.has_value();
}

// The installed configuration need not be there; one that somebody named must.
bool read_files(check_settings& settings) {
  const std::string own = preproc::user_configuration(variable);
  if (!own.empty() &&
      !read_nodefile_from(own, preproc::configuration_owner::user, settings))
    return false;
  take(settings.config_file, variable("ZELK_CONFIG"));
  const std::string installed = settings.install_root + "/etc/zelk.xml";
  if (::access(installed.c_str(), F_OK) == 0)
    take(settings.config_file, installed);
  return settings.config_file.empty() ||
         read_nodefile_from(settings.config_file,
                            preproc::configuration_owner::site, settings);
}

}  // namespace

std::optional<int> read_settings(int argc, const char* const* argv,
                                 check_settings& settings) {
  if (const auto status = read_command_line(argc, argv, settings))
    return status;
  find_install_root(settings);
  log::LOG_OUTPUT = 0;
  log::LOG_LEVEL = settings.log_level;
  log::LOG_SCOPE_LEVEL = 0;
  take(settings.nodefile, variable("ZELK_NODEFILE"));
  if (!read_files(settings))
    return complain(settings, "the configuration cannot be used");
  take(settings.descriptions, settings.install_root + "/etc/providers");
  settings.checks_folders.insert(settings.checks_folders.begin(),
                                 settings.install_root + "/etc/checks");
  return {};
}

}  // namespace zelk::check
