// The hashes of the files that a report was made by, so that the same files can
// be told from changed ones later.

#pragma once

#include <string>
#include <utility>
#include <vector>

namespace zelk::check {

// Returns for each file that can be read its name and the SHA-256 of its
// content in hexadecimal, as sha256sum(1) prints it. Empty names are left out.
std::vector<std::pair<std::string, std::string>> file_hashes(
    const std::vector<std::string>& paths);

}  // namespace zelk::check
