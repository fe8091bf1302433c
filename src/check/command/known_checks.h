// Whether checks that somebody named exist.
//
// A name that stands for nothing would pass for ever: nothing is found by a
// check that there is not.

#pragma once

#include <string>
#include <vector>

#include "src/check/command/settings.h"
#include "src/check/judge/definitions.h"
#include "src/check/run_data.h"

namespace zelk::check {

// The ids of the definitions, and the generic ones of the providers that the
// descriptions' folder has.
std::vector<std::string> known_ids(const check_settings& settings,
                                   const check_set& checks);

// Whether `word`, an id or a pattern, stands for one of `known`.
bool is_known_check(const std::string& word,
                    const std::vector<std::string>& known);

// Refuses what is none, and names the nearest. Refuses, too, when --skip leaves
// nothing to look at.
void check_asked(const check_settings& settings, const check_set& checks);

// Tells on standard error, a line each, which facts of the site's own checks no
// description declares and no run has.
void tell_facts_of_nobody(const check_settings& settings,
                          const check_set& checks, const run_data& run);

// The same of acceptances that are of no check.
void tell_acceptances_of_nothing(const check_settings& settings,
                                 const check_set& checks,
                                 const std::vector<acceptance>& all);

}  // namespace zelk::check
