// What ssh, srun and mpirun mean by what they say when they fail.
//
// Their words are for people and nobody promises them, so they are searched for
// the parts that have stood for decades. What is not recognised is passed on
// as it was said. Pure text.

#pragma once

#include <string>
#include <string_view>

#include "src/collect/src/collect/launcher.h"

namespace zelk::collect {

struct failure {
  ending how = ending::launcher_failed;
  std::string reason;         // as launch_outcome::reason
  std::string common_reason;  // as launch_outcome::common_reason
};

// Why no program was started on `node`. `said` is what ssh wrote on its error
// stream, together with what the login printed; `wait_status` as waitpid(2).
failure ssh_failure(std::string_view said, const std::string& node,
                    int wait_status);

// Why a connection broke that had been there. `said` may be empty.
failure ssh_loss(std::string_view said, const std::string& node,
                 int wait_status);

// Why srun, or what runs under it, did not do `node`. Of lines that name nodes
// only those that name this one count.
failure slurm_failure(std::string_view said, const std::string& node,
                      int wait_status);

// Why mpirun did not start anything.
failure mpi_failure(std::string_view said, const std::string& node,
                    int wait_status);

// "exit status 255", "signal 9 (Killed)".
std::string ended_with(int wait_status);

// Returns `line` without what must not reach a terminal: control characters
// are written as "?", surrounding white space is dropped.
std::string printable_line(std::string_view line);

}  // namespace zelk::collect
