// What is asked besides a report: what checks mean, what is known of nodes, how
// they differ.
//
// Return the exit status: status_fine when there was an answer. Throw
// reading::refusal.

#pragma once

#include "src/check/command/settings.h"

namespace zelk::check {

int list_checks(const check_settings& settings);

// With where they are seen in the run, if there is one.
int explain_checks(const check_settings& settings);

int show_nodes(const check_settings& settings);
int show_differences(const check_settings& settings);

}  // namespace zelk::check
