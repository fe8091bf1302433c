// --limit: fixed limits, as people type them, in the units of the facts.
//
//   stream.node.triad=410GB/s:    at least so much, whatever it is stored in
//   stream.node.triad=410000:     in the fact's declared unit, MB/s
//   'net.*.mtu=9000:9000'         of all facts of such names

#pragma once

#include <string>
#include <vector>

#include "src/check/judge/judge.h"
#include "src/check/run_data.h"

namespace zelk::check {

// Reads the form of a limit; whether the fact takes its unit is not known yet.
// Throws usage_mistake.
metric_limit read_typed_limit(const std::string& text);

// The limits `typed` in the facts' units. Throws reading::refusal when the run
// has no such fact, when it is no number, or when it has another kind of unit.
std::vector<metric_limit> limits_for(const std::vector<std::string>& typed,
                                     const run_data& run);

// Tells on standard error for which nodes a limited fact has no value.
void tell_unlimited_nodes(const std::vector<metric_limit>& limits,
                          const run_data& run);

}  // namespace zelk::check
