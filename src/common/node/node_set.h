// Sets of nodes as people type them on a command line.
//
// Users come from ClusterShell, pdsh and Slurm; what any of the three takes is
// read here:
//
//   node[01-16,20]          as ranges.h has it, several brackets too
//   node[0-6/2]             node0 node2 node4 node6
//   a,b  or  a b            both; blanks and line ends part as commas do
//   a!b                     a without b
//   a&b                     what both name
//   a^b                     what one of them names, but not both
//   @role:login  @gpu       a group, asked of a group_source
//   @*                      all nodes that the group source knows
//   node*  n?               those of them that match
//
// Operators have one rank and bind from left to right. What is written is
// another matter: TokenizedHost uses only what all three read.
//
// Nothing here logs, and memory taken is bounded by the budget.

#pragma once

#include <cstddef>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include "src/common/node/ranges.h"

namespace zelk::node {

// Returns the nodes of a group, whose name comes without its "@", or a problem.
// "*" stands for all nodes that are known.
using group_source = std::function<expansion(std::string_view group)>;

struct node_set {
  std::vector<std::string> names;  // in natural order, each once
  std::string problem;             // empty when the text was understood
  std::size_t column = 0;          // of the problem: bytes in front of it
};

// Without a source every group and pattern is a problem.
node_set parse_node_set(std::string_view text, const group_source& groups = {},
                        range_budget budget = {});

// Returns two lines: `text`, or what fits of it around `column`, fit for a
// terminal, and a "^" under the column. No newline at the end.
std::string marked(std::string_view text, std::size_t column);

// Tells why `name` cannot be a node's, or "": empty or longer than a record
// holds, not plain, or with a dash in front, which the programs that reach
// nodes take for an option.
std::string node_name_problem(std::string_view name);

}  // namespace zelk::node
