#include "src/collect/src/accumulate/file_identity.h"

#include <sys/stat.h>

namespace zelk::accumulate {

file_identity::file_identity(const std::string& path)
    : database_{path}, log_{path + "-wal"} {
  look(database_);
  look(log_);
}

void file_identity::look(file& place) {
  struct stat found = {};
  const bool there = ::stat(place.path.c_str(), &found) == 0;
  place.device = there ? found.st_dev : 0;
  place.inode = there ? found.st_ino : 0;
}

bool file_identity::same_database() const {
  file now = database_;
  look(now);
  return now.inode == database_.inode && now.device == database_.device;
}

bool file_identity::unchanged() {
  if (!same_database()) return false;
  file log = log_;
  look(log);
  if (log_.inode == 0) log_ = log;
  return log.inode == log_.inode && log.device == log_.device;
}

}  // namespace zelk::accumulate
