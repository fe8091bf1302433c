// Which nodes a collection is for.
//
// Names come from the first of these that is there: -w; the node file given
// with -n; the list of the batch job we run in; the node file of the
// environment or the configuration; and otherwise this machine alone. Whatever
// the way, the node file says what roles they have. Then --and, -x, --role,
// --subcluster, --idle and --pick leave some out.
//
// Names are text: nothing is resolved, and node1 is not node01.

#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "src/collect/src/collect/plan.h"
#include "src/collect/src/collect/surroundings.h"

namespace zelk::collect {

struct node_selection {
  std::vector<selected_node> nodes;   // never empty without a problem
  std::vector<std::string> busy;      // left out by --idle
  std::vector<std::string> remarks;   // what people should know of the way
  std::optional<std::uint64_t> seed;  // that --pick was made with
  bool only_this_machine = false;     // nothing said which nodes
  std::string problem;  // what was expected; some have more than one line
};

node_selection select_nodes(const collect_settings& settings,
                            const surroundings& outside);

}  // namespace zelk::collect
