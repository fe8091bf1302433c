// What net_pairs prints for a group of machines of one class: each measured
// with three partners, and the medians of each machine.

#pragma once

#include <string>
#include <vector>

#include "test/synthetic/machine_class.h"
#include "test/synthetic/moment.h"

namespace zelk::synthetic {

// The most machines of one group.
constexpr std::size_t pair_group = 16;

std::string pairs_of(const std::vector<std::string>& group,
                     const machine_class& of, const moment& when);

}  // namespace zelk::synthetic
