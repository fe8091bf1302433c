// The rows of the heat map: nodes with the same cells and the same trouble are
// one row.
//
// 10,000 nodes of which 2 % are in trouble make some 140 rows. The worst come
// first; nodes without trouble come last, a row a class.

#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "src/check/page/view.h"

namespace zelk::check::html {

struct heat_row {
  std::vector<std::size_t> nodes;       // into judgement::nodes, ascending
  std::vector<cell_state> cells;        // in the order of page_view::columns()
  std::vector<std::uint32_t> findings;  // a node's of each check and column
  bool calm = false;       // nobody has to look: ok, info, n/a, accepted
  std::string class_name;  // of calm rows
};

std::vector<heat_row> heat_rows(const page_view& view);

// The states that occur in the rows, the worst first, each once.
std::vector<cell_state> states_in(const std::vector<heat_row>& rows);

}  // namespace zelk::check::html
