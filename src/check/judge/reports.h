// What of a run a report shows besides findings: coverage, distributions,
// differences, and the state of every node under every provider.

#pragma once

#include <vector>

#include "src/check/judge/find_hits.h"
#include "src/check/judge/make_findings.h"
#include "src/check/judgement.h"

namespace zelk::check {

// Nodes that did not answer, or not well, by how and why.
std::vector<coverage_group> coverage_of(const run_view& run);

// The worst first. What is more than a report can hold is counted in
// `left_out`.
std::vector<distribution> distributions_of(const run_view& run,
                                           const classes& groups,
                                           const found_hits& found,
                                           std::size_t& left_out);
std::vector<difference> differences_of(const run_view& run,
                                       const classes& groups,
                                       const found_hits& found,
                                       std::size_t& left_out);

// Fills columns, nodes and counts. Requires: `open` and
// `accepted` are what result.findings and result.accepted are made of.
void put_nodes(judgement& result, const run_view& run, const classes& groups,
               const columns_seen& seen, const std::vector<made_finding>& open,
               const std::vector<made_finding>& accepted);

}  // namespace zelk::check
