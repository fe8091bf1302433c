// Where the datastore lies when the command line does and does not say.

#pragma once

#include <string>

namespace zelk::accumulate {

struct datastore_location {
  std::string path;
  std::string problem;  // empty: `path` is to be used
};

// `text` is what --db got: "sqlite:PATH" or a path. When it is empty the
// environment decides, the first that is there:
//
//   ZELK_DB                    as --db
//   STATE_DIRECTORY/zelk.db    of a systemd service
//   /var/opt/zelkara/zelk.db   for root
//   XDG_STATE_HOME/zelkara/zelk.db, or ~/.local/state/zelkara/zelk.db
datastore_location find_datastore(const std::string& text);

// Makes the folders that a datastore at `path` needs, for their owner alone.
// Returns false, after one error record, when that fails.
bool make_folders_of(const std::string& path);

}  // namespace zelk::accumulate
