// What the words behind "baseline" and "accept" on a command line mean.
//
// Both functions fill in what is to be done and return "", or what is wrong.
// They get the options that were read already, since some go with one action
// only.

#pragma once

#include <string>
#include <vector>

#include "src/collect/src/db/accept_command.h"
#include "src/collect/src/db/baseline_command.h"

namespace zelk::db {

// "set RUN", "list" or nothing, "clear".
std::string read_baseline_words(const std::vector<std::string>& words,
                                baseline_options& options);

// "CHECK", "list" or nothing, "revoke ID...".
std::string read_accept_words(const std::vector<std::string>& words,
                              accept_options& options);

}  // namespace zelk::db
