#include "src/collect/src/accumulate/datastore_location.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>

#include "src/common/log/error_log.h"
#include "src/common/names/names.h"
#include "src/common/preproc/configuration_file.h"
#include "src/common/str/str.h"
#include "src/common/util/errno_text.h"

namespace zelk::accumulate {

namespace {

constexpr char source[] = "src/collect/src/accumulate/datastore_location";

std::string variable(const char* name) {
  const char* value = std::getenv(name);
  return value == nullptr ? "" : value;
}

std::string default_path() {
  if (std::string state = variable("STATE_DIRECTORY"); !state.empty())
    return state.substr(0, state.find(':')) + "/zelk.db";
  if (::geteuid() == 0) return "/var/opt/zelkara/zelk.db";
  if (std::string state = variable("XDG_STATE_HOME"); !state.empty())
    return state + "/zelkara/zelk.db";
  return variable("HOME") + "/.local/state/zelkara/zelk.db";
}

// A path with a colon in its first part is told from a scheme by "./".
bool has_scheme(const std::string& text) {
  const std::size_t end = text.find_first_not_of(
      "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+-._");
  return end != 0 && end != text.npos && text[end] == ':' && text[0] != '.';
}

// `option` is where `text` comes from.
datastore_location located(const std::string& text, const std::string& option) {
  constexpr std::string_view sqlite = "sqlite:";
  std::string path =
      text.starts_with(sqlite) ? text.substr(sqlite.size()) : text;
  if (path.starts_with("///")) path.erase(0, 2);
  if (path.empty() || (has_scheme(text) && !text.starts_with(sqlite)))
    return {"", option + ": '" + text + "': expected sqlite:PATH or a path"};
  return {path, ""};
}

}  // namespace

datastore_location find_datastore(const std::string& text,
                                  const std::string& config_file) {
  if (!text.empty()) return located(text, "--db");
  if (const std::string given = variable("ZELK_DB"); !given.empty())
    return located(given, "ZELK_DB");
  const preproc::configured_datastore configured =
      preproc::find_configured_datastore(config_file, install_root, variable);
  if (configured.failed)
    return {"",
            "the configuration, which may name the datastore, cannot be used; "
            "--db names one without it"};
  if (!configured.path.empty()) return {configured.path, ""};
  return {default_path(), ""};
}

bool make_folders_of(const std::string& path) {
  for (std::size_t slash = path.find('/', 1); slash != path.npos;
       slash = path.find('/', slash + 1)) {
    const std::string folder = path.substr(0, slash);
    if (::mkdir(folder.c_str(), 0700) == 0 || errno == EEXIST) continue;
    const int code = errno;
    // A folder above may be one that we cannot write to and need not.
    struct stat what = {};
    if (::stat(folder.c_str(), &what) == 0) continue;
    log::ErrorLog(source, __func__, __LINE__, log::level_error).stream()
        << "Unable to create directory '" << folder << "' "
        << util::errno_text(code);
    return false;
  }
  return true;
}

}  // namespace zelk::accumulate
