// --dry-run: what a collection would do, without doing any of it.

#pragma once

#include <string>
#include <vector>

#include "src/collect/src/collect/plan.h"
#include "src/collect/src/collect/settings.h"

namespace zelk::collect {

// Which of the nodes' names this machine can resolve.
struct name_resolution {
  std::vector<std::string> unresolved;
  std::vector<std::string> not_asked;  // there was no time left for these
};

// Asks the resolver for each node, for at most some seconds in all. ssh may
// know names of its own, so that one that does not resolve is no mistake.
name_resolution resolve_nodes(const plan& made);

// Returns the plan as text, or as one JSON document with settings.json.
std::string shown_plan(const collect_settings& settings, const plan& made,
                       const name_resolution& names);

}  // namespace zelk::collect
