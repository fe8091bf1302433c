// What the nodes are, from a run and from those before it.
//
// A run of one provider on a few nodes does not say which processors they have,
// but an earlier one did, and nodes that are unlike must not be compared. So
// what a run does not say is taken from another, node by node.

#pragma once

#include <set>
#include <string>
#include <vector>

#include "src/check/run_data.h"

namespace zelk::check {

// By node: what the run's facts say, and where they do not, what is known of
// earlier runs (run_data::machines). Requires: the run is in order.
std::vector<machine_facts> machines_in(const run_data& run);

// Fills what is not known of the machines of `nodes`, by the nodes' names.
void complete(std::vector<machine_facts>& of,
              const std::vector<std::string>& nodes,
              const std::vector<machine_facts>& by,
              const std::vector<std::string>& by_nodes);

// The nodes that gave a result, of which something is not known that an earlier
// run may say, and the providers that would. Nothing when all is known.
struct machines_wanted {
  std::set<std::string> nodes, providers;
};
machines_wanted wanted_of(const run_data& run,
                          const std::vector<machine_facts>& known);

}  // namespace zelk::check
