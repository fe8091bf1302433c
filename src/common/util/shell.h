// Starts /bin/sh with one command line, its outputs going into pipes.
//
// The shell shares our process group, session, environment and working folder,
// and nothing else: see start_shell(). What becomes of it is the caller's.

#pragma once

#include <sys/types.h>

#include <string>

#include "src/common/util/unique_fd.h"

namespace zelk::util {

struct running_shell {
  pid_t pid = 0;              // a child; the owner reaps it
  unique_fd pidfd;            // readable when it has ended; may be none
  unique_fd standard_output;  // read ends, not blocking
  unique_fd standard_error;
};

// Starts `command_line` in the shell with an empty standard input, no other
// descriptor than 0 to 2, all signals at their default and none blocked.
// Returns 0 or errno; when not 0, nothing was run.
int start_shell(const std::string& command_line, running_shell& shell);

}  // namespace zelk::util
