// All that zelk-check is told: by its command line, by the environment and by
// the configuration, the earlier of which wins.

#pragma once

#include <optional>

#include "src/check/command/settings.h"

namespace zelk::check {

// Returns the exit status when that is all that there is to do.
std::optional<int> read_settings(int argc, const char* const* argv,
                                 check_settings& settings);

}  // namespace zelk::check
