// The collector's part of a configuration file: its elements `collect` and
// `datastore` (doc/formats.md).
//
// What a person keeps in a file of their own has the same form and wins over
// the site's.

#pragma once

#include <string>

#include "src/collect/src/collect/settings.h"
#include "src/common/preproc/configuration_file.h"

namespace zelk::collect {

using preproc::configuration_owner;
using preproc::user_configuration;

// Takes over what the valid file `path` says. Returns false after one error
// record when it is not valid. Reads the schema share/zelkara/zelk.xsd under
// settings.install_root.
bool read_configuration(const std::string& path, configuration_owner owner,
                        collect_settings& settings);

}  // namespace zelk::collect
