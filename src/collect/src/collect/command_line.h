// The command line of zelk-collect as settings.

#pragma once

#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "src/collect/src/collect/setting_rules.h"
#include "src/collect/src/collect/settings.h"

namespace zelk::collect {

inline constexpr char program_name[] = "zelk-collect";

// The options that the configuration and the environment could have set as
// well; to be applied behind those, in this order.
using typed_values = std::vector<std::pair<const setting_rule*, std::string>>;

// Reads the command line: what only it can say into `settings`, the rest into
// `typed`. Returns the exit status when it is all that there is to do: help was
// asked for, or a mistake was told on standard error.
std::optional<int> read_command_line(int argc, const char* const* argv,
                                     collect_settings& settings,
                                     typed_values& typed);

// Tells a mistake on standard error, with a line about the help behind it;
// returns the exit status for it.
int complain_of_usage(const std::string& text);

// Tells what is wrong with what was asked for; returns the exit status.
int complain(const std::string& text);

}  // namespace zelk::collect
