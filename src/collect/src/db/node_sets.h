// Node sets as they stand behind -w and -x.

#pragma once

#include <string>
#include <vector>

namespace zelk::db {

// Returns the names that `sets` stand for without those of `excluded`, in
// natural order, each once. The set "-" is what standard input holds. Throws
// refusal.
std::vector<std::string> names_of_sets(
    const std::vector<std::string>& sets,
    const std::vector<std::string>& excluded = {});

}  // namespace zelk::db
