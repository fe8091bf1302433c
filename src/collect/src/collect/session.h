// A collection from its beginning to its end: the accumulator, the workers, and
// what becomes of every result.

#pragma once

#include "src/collect/src/collect/plan.h"
#include "src/collect/src/collect/settings.h"

namespace zelk::collect {

// Carries out `made` and tells what it came to: on standard output, as the
// settings say, and everything else on standard error. Returns the exit status;
// does not return when a signal ended it, nor when --check hands over to
// zelk-check. No thread may have been started before.
int collect(const collect_settings& settings, const plan& made);

}  // namespace zelk::collect
