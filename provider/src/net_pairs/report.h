// What the tournament found, as lines of evidence.

#pragma once

#include <cstdio>
#include <string>
#include <vector>

#include "provider/src/net_pairs/coordinator.h"

namespace zelk::net_pairs {

// "SOURCE: TEXT" lines: of pairs and of nodes in the order of the node file.
std::string report(const std::vector<std::string>& nodes, const outcome& all);

// Pairs that were planned and have no figures.
std::size_t unmeasured(const outcome& all);

// Whether every other node refused the login, so that nothing was measured for
// want of a permission.
bool only_permission_missing(const outcome& all, std::size_t nodes);

}  // namespace zelk::net_pairs
