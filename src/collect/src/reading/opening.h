// Opening the datastore that a command is about.
//
// Both warn when it lies on a network file system, and throw `refusal` when it
// is out of reach: missing, damaged, of another program or version.

#pragma once

#include <chrono>
#include <string>

#include "src/common/datastore/sqlite.h"

namespace zelk::reading {

struct place {
  std::string path;
  // For another process that is writing. A datastore on a network file system
  // is locked while one does, to readers as well.
  std::chrono::seconds wait{30};
};

// As the store has it; a word is said after a second.
datastore::patience waiting_of(const place& where);

// Throws when there is no file, or an empty one.
void check_file(const std::string& path);

// For commands that cannot change anything, whatever they are told.
datastore::database open_to_read(const place& where);

// For those that do. The file must exist.
datastore::database open_to_write(const place& where);

}  // namespace zelk::reading
