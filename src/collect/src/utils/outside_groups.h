// Groups of nodes that other programs of the machine know: partitions of Slurm,
// by sinfo(1), and what ClusterShell is set up for, by cluset(1).
//
// Nothing is run here: the caller hands in how, and bounds its time. Nothing is
// logged; what went wrong is in the answer's `problem`, fit for a terminal.

#pragma once

#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include "src/common/node/ranges.h"
#include "src/common/util/program_answer.h"

namespace zelk {

using util::program_answer;

// Runs a program; the first of the words is its name, found by PATH.
using program_runner =
    std::function<program_answer(const std::vector<std::string>& words)>;

// Returns the nodes of a group, whose name comes without its "@":
//
//   slurm:debug    the nodes of a partition
//   anything       by cluset, where it is installed
//
// `known` are the groups that need no cluset, for the complaint that it is not
// installed: "@role:..., @*".
node::expansion outside_group(std::string_view group, const std::string& known,
                              const program_runner& run);

// Returns the nodes that Slurm reports idle.
node::expansion slurm_idle_nodes(const program_runner& run);

}  // namespace zelk
