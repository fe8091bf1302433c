// The order in which people expect names: node2 before node10.

#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace zelk::node {

// Compares bytes one by one, and runs of digits as numbers of any length; of
// two that are equal the shorter comes first (1 before 01). Only equal texts
// are in no order.
bool natural_before(std::string_view a, std::string_view b);

// Sorts `names` in this order and leaves each once.
void sort_naturally(std::vector<std::string>& names);

}  // namespace zelk::node
