// Counts for people.

#pragma once

#include <cstdint>
#include <string>

namespace zelk::text {

// "0 B", "736 B", "12.5 MiB"
std::string size_text(std::int64_t bytes);

// "1 run", "2 runs"
std::string counted(std::int64_t count, const std::string& what);

}  // namespace zelk::text
