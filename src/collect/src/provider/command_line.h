// The shell command line of one provider run, as text.

#pragma once

#include <cstdint>
#include <string>

#include "src/common/preproc/config.h"

namespace zelk {

// Returns, from left to right: the time limit, `prefix` as it is (the option
// set's assignments, each with its blank), for a provider of two nodes or more
// the node file, and the description's command with every
// %PROVIDER_AUXILIARY_PATH% filled in, in the node file's path too.
//
//   ZELK_TIMEOUT=60 SIZE='4' ZELK_DP_NODEFILE=/tmp/nodes run.sh
//
// Nothing is quoted here: a node file whose path holds a blank, or a character
// of the shell's, reaches the provider in pieces.
std::string provider_command_line(const provider_config& description,
                                  const std::string& prefix,
                                  std::int64_t timeout_sec);

}  // namespace zelk
