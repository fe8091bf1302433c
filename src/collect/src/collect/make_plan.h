// From nodes and providers to what runs where, and what is to come of it.

#pragma once

#include <vector>

#include "src/collect/src/collect/catalogue.h"
#include "src/collect/src/collect/node_selection.h"
#include "src/collect/src/collect/plan.h"
#include "src/collect/src/collect/settings.h"

namespace zelk::collect {

// Never fails: a provider that no node can run is in the plan as not required,
// with the reason. The plan's seed is there when --pick or --order random made
// use of one.
plan make_plan(const collect_settings& settings, const catalogue& descriptions,
               node_selection selection,
               std::vector<planned_provider> providers);

// Returns how many results the plan expects.
std::size_t expected_results(const plan& made);

}  // namespace zelk::collect
