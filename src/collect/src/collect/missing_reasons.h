// Why results did not come, read from how a worker ended and what it wrote.
//
// Pure text. The worker's lines on standard error are an interface of its own
// (zelk_run_provider(1)); what they do not explain is said to be unexplained.

#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "src/collect/src/collect/launcher.h"
#include "src/collect/src/collect/plan.h"
#include "src/collect/src/collect/shortfall.h"

namespace zelk::collect {

// Of what is known to the collector and not to the launcher.
struct launch_facts {
  // How long the provider that was running when the launch ended had been
  // running, in seconds.
  double last_provider_took = 0;
  bool limit_typed = false;  // the time limits are those of the command line
  int tries = 1;
};

// A reason for each of `missing`, which are results of one node in the order in
// which its worker was to make them, and `outcome` is how that worker ended.
std::vector<why> reasons_of(const launch_outcome& outcome,
                            const std::vector<expected_result>& missing,
                            const plan& made, const launch_facts& facts);

// Whether another try may help: the node was not reached, or was lost.
bool is_silence(ending how);

// The lines of `errors` that no reason is made of: what people should see
// besides. Without their line ends; control characters are written as "?".
std::vector<std::string> other_lines(std::string_view errors);

}  // namespace zelk::collect
