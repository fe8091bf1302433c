// What the configuration says to those that only read: where the node file is.
// (Where the datastore is, accumulate::find_datastore() finds out.)

#pragma once

#include <optional>
#include <string>

#include "src/common/preproc/configuration_file.h"

namespace zelk::check {

// Returns "" when nothing is said there, and nothing after error records,
// "file:line: what was expected".
std::optional<std::string> configured_nodefile(
    const std::string& path, preproc::configuration_owner owner,
    const std::string& install_root);

}  // namespace zelk::check
