// Division of a number of nodes into groups.

#pragma once

#include <vector>

namespace zelk {

// Returns the sizes of the groups, in order: as many of `size` as `total` has,
// and one of what is left over if that is at least `minimum`; where it is less,
// a smaller size is tried, down to `minimum`. At `minimum` what is left over is
// in no group.
//
//   split_cluster_sizes(10, 5, 2)   5 5
//   split_cluster_sizes(11, 5, 2)   4 4 3    5 5 would leave 1
//   split_cluster_sizes(7, 3, 3)    3 3      one node is in no group
//   split_cluster_sizes(7, 0, 3)    7        no size: one group of all
//
// Returns nothing, with one error record, when `minimum` is below 1.
std::vector<int> split_cluster_sizes(int total, int size, int minimum);

}  // namespace zelk
