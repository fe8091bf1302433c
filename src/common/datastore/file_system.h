// What kind of file system a datastore lies on.

#pragma once

#include <string>

namespace zelk::datastore {

// Returns the name of the network or parallel file system that statfs(2) knows
// by `magic`, such as "NFS", or "" for one that belongs to this host alone.
// FUSE counts as one: most of what is mounted through it is remote.
std::string network_file_system_name(long magic);

// Returns that name for the file system that holds `path` or, while nothing
// lies there, the directory that will hold it. "" when it cannot be told.
std::string network_file_system(const std::string& path);

}  // namespace zelk::datastore
