// One cause, one finding: a card that is gone takes its temperature, its clock
// and its link with it, and each of them is missed by another check.

#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "src/check/judge/grouping.h"
#include "src/check/judge/run_view.h"

namespace zelk::check {

// Moves facts that the nodes of a group do not have to the group, of the same
// nodes, that tells why: one that counts things, of the same name's beginning
// or the same provider, and finds less than their peers have; else that of
// another fact of the same thing. A group that has nothing left is removed.
void fold_absences(std::vector<hit_group>& groups, const run_view& run);

// The thing that a fact is about: its name up to the first part with a number,
// "nvidia.gpu3" of "nvidia.gpu3.pcie.width"; else all but the last part; ""
// when there are less than three parts.
std::string_view thing_of(std::string_view fact);

}  // namespace zelk::check
