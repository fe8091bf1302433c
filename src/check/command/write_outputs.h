// The judgement in every form and to every place that was asked for.
//
// Throws reading::refusal when one cannot be written.

#pragma once

#include "src/check/command/judge_run.h"
#include "src/check/command/settings.h"

namespace zelk::check {

// Refuses to fill a terminal with markup. To be asked before anything is
// judged.
void check_outputs(const check_settings& settings);

void write_outputs(const check_settings& settings, const judged_run& judged);

// For a report on standard output, which has a terminal's width and colours, or
// in a file, which has neither.
report_options report_options_for(const check_settings& settings,
                                  bool to_standard_output);

}  // namespace zelk::check
