// --validate: all files that a collection could read, against their schemas and
// against each other.

#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "src/collect/src/collect/settings.h"

namespace zelk::collect {

struct validation {
  struct file {
    std::string path;
    bool valid = false;
  };
  std::vector<file> files;
  // What is wrong between files (a suite that names a provider which is not
  // there). What is wrong inside a file has been told.
  std::vector<std::string> problems;

  bool all_valid() const;
};

// Looks at the configuration, the user's own, the file of -p, the node file,
// all installed descriptions, and those of -f.
validation validate_files(const collect_settings& settings);

// Returns it as text, or as one JSON document with settings.json.
std::string shown_validation(const collect_settings& settings,
                             const validation& found);

}  // namespace zelk::collect
