// The collector's part of a configuration file: its elements `collect` and
// `datastore` (doc/formats.md).
//
// What a person keeps in a file of their own has the same form and wins over
// the site's.

#pragma once

#include <string>

#include "src/collect/src/collect/settings.h"

namespace zelk::collect {

enum class configuration_owner {
  site,  // etc/zelk.xml: what else it holds is read by others
  user,  // only `collect` and `datastore` may stand there
};

// Takes over what the valid file `path` says. Returns false after one error
// record when it is not valid. Reads the schema share/zelkara/zelk.xsd under
// settings.install_root.
bool read_configuration(const std::string& path, configuration_owner owner,
                        collect_settings& settings);

// Returns the path of the user's own file, "" when there is none:
// XDG_CONFIG_HOME/zelkara/zelk.xml, or ~/.config/zelkara/zelk.xml.
std::string user_configuration(std::string (*variable)(const char* name));

}  // namespace zelk::collect
