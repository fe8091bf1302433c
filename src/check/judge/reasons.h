// Why results are not there, in words that are the same on nodes with the same
// ailment.

#pragma once

#include <cstddef>
#include <string>

#include "src/check/run_data.h"

namespace zelk::check {

// Returns the reason with NODE for the node's own name, so that
// "ssh: connect to host n7 port 22: Connection refused" is one for all nodes.
std::string reason_of(const provider_answer& given, const std::string& node);

// Returns why nothing came from a node at all: the reason most of its missing
// results have.
std::string silence_of(const run_data& data, std::size_t node);

}  // namespace zelk::check
