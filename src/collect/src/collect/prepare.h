// Everything of zelk-collect that happens before anything is launched.

#pragma once

#include <optional>

#include "src/collect/src/collect/plan.h"
#include "src/collect/src/collect/settings.h"

namespace zelk::collect {

// Reads command line, environment and configuration into `settings` and makes
// the plan of the collection. Returns the exit status when that is all there is
// to do: an answer was printed (help, list, dry run ...), or a mistake was told
// on standard error. Otherwise settings.what is `collect` or `doctor`, and
// plan.remarks have been told; where no node was named, settings.launcher has
// become "local". Sets the install root and the log thresholds.
std::optional<int> prepare(int argc, const char* const* argv,
                           collect_settings& settings, plan& made);

}  // namespace zelk::collect
