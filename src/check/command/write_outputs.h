// The judgement in every form and to every place that was asked for.
//
// Throws reading::refusal when one cannot be written.

#pragma once

#include <functional>
#include <ostream>

#include "src/check/command/judge_run.h"
#include "src/check/command/settings.h"

namespace zelk::check {

// Refuses to fill a terminal with markup. To be asked before anything is
// judged.
void check_outputs(const check_settings& settings);

void write_outputs(const check_settings& settings, const judged_run& judged);

// Shows the page that was written, where it was asked for (--open). Takes up to
// two seconds: nobody's limit of time counts them.
void show_page(const check_settings& settings);

// For a report on standard output, which has a terminal's width and colours, or
// in a file, which has neither.
report_options report_options_for(const check_settings& settings,
                                  bool to_standard_output);

// Text that is no report, in ASCII where the options want that.
void write_as_text(const report_options& options, std::ostream& out,
                   const std::function<void(std::ostream&)>& write);

}  // namespace zelk::check
