// How many connections this process can hold at once.

#pragma once

#include <cstddef>
#include <string>

namespace zelk::accumulate {

// Descriptors kept free for what is not a connection: the datastore and its
// log, standard streams, result files that are moved aside.
constexpr std::size_t reserved_descriptors = 64;

// Raises the limit on open descriptors as far as the process may and returns
// how many connections that allows, one at least.
std::size_t raise_descriptor_limit();

// Returns "", or a sentence that so many nodes are more than can be connected
// at once and what to change.
std::string capacity_problem(std::size_t connections, std::size_t nodes);

// Returns "", or a sentence that the system's queue for connections not yet
// accepted is shorter than `wanted`, so that many peers that come at the same
// time are heard seconds late.
std::string backlog_problem(int wanted);

}  // namespace zelk::accumulate
