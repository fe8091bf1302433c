// The groups of nodes that can be named with "@": in the node file, in Slurm,
// and in what ClusterShell is set up for.

#pragma once

#include <string>
#include <string_view>

#include "src/collect/src/collect/surroundings.h"
#include "src/common/node/nodelist.h"
#include "src/common/node/ranges.h"

namespace zelk::collect {

// Answers for node::parse_node_set():
//
//   @role:login       by the node file, which `nodes` was read from
//   @subcluster:gpu
//   @*                all of the node file
//   @slurm:debug      and whatever else other programs know: outside_groups.h
//
// `nodes` is null when there is no node file.
node::expansion nodes_of_group(std::string_view group,
                               const node::Nodelist* nodes,
                               const surroundings& outside);

// Returns the nodes that Slurm reports idle.
node::expansion idle_nodes(const surroundings& outside);

// Tells whether `roles`, as a node file has it, names `role`.
bool has_role(std::string_view roles, std::string_view role);

// Returns the roles (or subclusters) that the node file gives to anybody.
std::vector<std::string> roles_of(const node::Nodelist& nodes);
std::vector<std::string> subclusters_of(const node::Nodelist& nodes);

// Returns the note of an entry, "" when it has none.
std::string note_of(const node::node_entry& entry, const std::string& key);

}  // namespace zelk::collect
