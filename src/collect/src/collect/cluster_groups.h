// Division of nodes into the groups that a provider of clusters runs on.

#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "src/common/names/names.h"

namespace zelk::collect {

struct cluster_groups {
  std::vector<std::vector<std::string>> groups;  // the first of each runs it
  std::vector<std::string> left_over;            // in no group
};

// Puts `nodes` in order by `method` and divides them as split_cluster_sizes()
// says: groups of `size` (0: one of all), none below `minimum`.
//
//                  groups of 2 of a b c d
//   none           ab cd
//   rotate_right   da bc    so that other neighbours meet
//   rotate_left    bc da
//   round_robin    ac bd    dealt like cards: neighbours are apart
//   random         as chance with `seed` has it; the same everywhere
//
// Requires: minimum > 0.
cluster_groups make_groups(std::vector<std::string> nodes, int size,
                           int minimum, nodelist_method_t method,
                           std::uint64_t seed);

// Puts `names` in an order that depends on `seed` alone, whatever library or
// machine it is.
void shuffle(std::vector<std::string>& names, std::uint64_t seed);

}  // namespace zelk::collect
