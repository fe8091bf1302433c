// Findings of one check as one: for a reader a mount that is missing is one
// trouble, whatever number of facts and classes say so.

#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "src/check/judgement.h"
#include "src/check/report/writer.h"

namespace zelk::check {

struct folded_finding {
  std::string check;  // visible, as all texts here
  severity level = severity::informational;
  std::vector<std::string> nodes;  // natural order
  std::string brief;               // "95, peers have 96"
  std::size_t findings = 1;
  bool is_new = false;  // one of them is
};

// Those that `options` let through but changes, each check and severity once,
// in the order of their first.
std::vector<folded_finding> folded_findings(const judgement& judged,
                                            const report_options& options);

// What is wrong in few words: "95, peers have 96", "6 %, limit 10:".
std::string brief_words(const finding& found);

// "node[0015,0024] (2)"; a name alone has no count. Of more columns than `most`
// only the count: "16 nodes".
std::string counted_nodes(const std::vector<std::string>& nodes,
                          std::size_t most);

}  // namespace zelk::check
