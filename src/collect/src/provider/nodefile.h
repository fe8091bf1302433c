// A node file as what a record holds of it: how many nodes and their names.

#pragma once

#include <cstdint>
#include <string>

namespace zelk {

// Reads the file at `path`. Returns false, with `count` and `names` as they
// were, when it cannot be opened or names no node; only a line that is not
// understood is logged.
//
// `count` has 16 bits, so 70,000 nodes count as 4,464. `names` holds as many of
// the names as `count` says, but always the first, joined by ", ".
bool read_nodefile(const char* path, std::uint16_t& count, std::string& names);

}  // namespace zelk
