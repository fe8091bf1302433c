// Hits to groups, each of which becomes one finding. One cause shows in many
// facts: a mount that is missing lacks its source, type and options. So what
// one check finds on the same nodes is one group, led by the fact that the
// check names first.

#pragma once

#include <cstdint>
#include <vector>

#include "src/check/judge/hit.h"

namespace zelk::check {

constexpr std::uint32_t not_accepted = 0xffffffff;

// The nodes of a hit that have the same acceptance and the same past.
struct hit_part {
  const hit* of = nullptr;
  std::vector<std::uint32_t> nodes;       // ascending
  std::uint32_t accepted = not_accepted;  // index of the acceptance
  bool known = false;                     // the baseline had it too
  // Of a common hit that is not accepted as a whole, ascending.
  std::vector<std::uint32_t> accepted_nodes = {};
};

struct hit_group {
  std::vector<std::uint32_t> nodes;    // ascending
  std::vector<const hit_part*> parts;  // the leading one first
  bool is_mixed = false;               // many small groups, taken together
};

// Requires: `parts` outlives the result.
std::vector<hit_group> group_hits(const std::vector<hit_part>& parts);

}  // namespace zelk::check
