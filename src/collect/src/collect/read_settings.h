// All sources of settings in their order of precedence: command line,
// environment, the user's own file, the site's configuration, built-in values.

#pragma once

#include <optional>

#include "src/collect/src/collect/settings.h"

namespace zelk::collect {

// Fills `settings`. Returns the exit status when there is nothing more to do:
// help was asked for, or a mistake was told on standard error. With --validate
// a configuration at fault is no reason to end here. Sets the install root and
// the log thresholds of the process.
std::optional<int> read_settings(int argc, const char* const* argv,
                                 collect_settings& settings);

// Returns the value of a variable of the environment, "" when it is not set.
std::string environment_variable(const char* name);

}  // namespace zelk::collect
