// The command line of zelk-check as settings.

#pragma once

#include <optional>
#include <string>

#include "src/check/command/settings.h"

namespace zelk::check {

// Returns the exit status when it is all that there is to do: help was asked
// for, or a mistake was told on standard error.
std::optional<int> read_command_line(int argc, const char* const* argv,
                                     check_settings& settings);

// Tells what is wrong on standard error, and to a monitoring system; returns
// the exit status for it.
int complain(const check_settings& settings, const std::string& text);

}  // namespace zelk::check
