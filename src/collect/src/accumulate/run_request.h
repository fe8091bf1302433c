// Which run records belong to, and what it should get.

#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "src/collect/src/accumulate/runs.h"

namespace zelk::accumulate {

struct run_request {
  std::string run = "new";  // or what find_run() understands
  std::string label;
  std::string note;
  std::string command_line;
  std::vector<expectation> expected;
  std::int64_t results_expected = 0;  // 0: not said
};

// Makes or finds the run. Throws datastore::store_error with a sentence when
// there is none of that name. A run that has ended runs again.
std::int64_t open_run(datastore::database& base, const run_request& request);

// What --expect and --expect-provider say.
//
//   "400"              400 results, whatever they are
//   "node[01-16]"      of each node a result
//   "/etc/nodes"       of each node in a node file (any text with a slash)
//
// With providers ("stream", or "stream:quick" for one option set) of each node
// a result of each. Returns "", or what is wrong with the text.
std::string read_expectation(const std::string& text,
                             const std::vector<std::string>& providers,
                             run_request& request);

// Number of results that `request` expects; 0 when it does not say, or names
// nodes only.
std::uint64_t expected_results(const run_request& request);

// Number of different nodes in `request`.
std::size_t expected_nodes(const run_request& request);

}  // namespace zelk::accumulate
