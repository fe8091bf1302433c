// The measurements in one folder.
#pragma once

#include <cstdint>
#include <string>

namespace zelk::perf::disk {

struct limits {
  double seconds = 0;       // for all measurements together
  std::uint64_t bytes = 0;  // written at most
};

// Writes "PREFIX.state: TEXT" and what is known of the file system. Returns an
// exit status; not 0 when the folder cannot be written to.
int look_at(const std::string& folder, const std::string& prefix, int output);

// Writes and reads a file and makes and removes names, and writes a line for
// each figure as soon as it is known.
int measure(const std::string& folder, const std::string& prefix,
            const limits& bounds, int output);

}  // namespace zelk::perf::disk
