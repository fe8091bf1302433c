// What changed since the baseline and what was not judged, for the text report.

#pragma once

#include <cstddef>
#include <ostream>
#include <string>
#include <vector>

#include "src/check/judgement.h"
#include "src/check/report/rows.h"
#include "src/check/report/writer.h"

namespace zelk::check {

// "Since the baseline:  5 new   1 unchanged ..."; always at least one line.
void write_since_baseline(const judgement& judged,
                          const report_options& options, std::ostream& out);

// "18 of 1233 results missing (node[037,112]), 1 timed out, 0 failed, 0 stale";
// "nothing: ..." when all that was expected was judged.
std::string not_judged_text(const judgement& judged);

// Gaps of which no finding tells, with their reasons, and what is accepted.
std::vector<report_row> not_judged_rows(const judgement& judged);

// The nodes that gave no answer at all.
std::vector<std::string> silent_nodes(const judgement& judged);

// The results in which `what` happened: a group counts once a node.
std::size_t count_of(const judgement& judged, answer what);
std::size_t stale_count(const judgement& judged);

}  // namespace zelk::check
