// Where the datastore lies when the command line does and does not say.

#pragma once

#include <string>

namespace zelk::accumulate {

struct datastore_location {
  std::string path;
  // For the user, with the option that it is about; empty: `path` is to be
  // used.
  std::string problem;
};

// `text` is what --db got: "sqlite:PATH" or a path. When it is empty the first
// of these that is there decides:
//
//   ZELK_DB                    as --db
//   datastore/path             of the configuration: see preproc,
//                              find_configured_datastore(); `config_file` is
//                              what --config got
//   STATE_DIRECTORY/zelk.db    of a systemd service
//   /var/opt/zelkara/zelk.db   for root
//   XDG_STATE_HOME/zelkara/zelk.db, or ~/.local/state/zelkara/zelk.db
//
// Requires: zelk::install_root is set.
datastore_location find_datastore(const std::string& text,
                                  const std::string& config_file = {});

// Makes the folders that a datastore at `path` needs, for their owner alone.
// Returns false, after one error record, when that fails.
bool make_folders_of(const std::string& path);

}  // namespace zelk::accumulate
