// The text form on a terminal: what matters, on one screen.
//
// A check is one line, whatever number of findings, facts and classes it has;
// the worst come first, and those that do not fit are named all the same. How
// the rest is seen is said at the end.

#pragma once

#include <ostream>

#include "src/check/judgement.h"
#include "src/check/report/writer.h"

namespace zelk::check {

// Requires: options.height is not 0. A terminal of less than 24 lines gets a
// screen for 24.
void write_screen(const judgement& judged, const report_options& options,
                  std::ostream& out);

}  // namespace zelk::check
