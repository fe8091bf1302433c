// Test support: a cluster of any size as a whole judgement: 46 providers, four
// classes, racks, 2 % of the nodes in trouble of some thirty kinds, metrics
// with noise, differences, 30 runs of history. The same size gives the same
// judgement.

#pragma once

#include <cstddef>

#include "src/check/judgement.h"

namespace zelk::check {

judgement cluster_of(std::size_t nodes);

}  // namespace zelk::check
