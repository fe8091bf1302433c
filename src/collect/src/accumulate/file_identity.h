// Whether a datastore's files are still the ones that were opened.
//
// A file that is removed or replaced while it is open goes on taking writes,
// which nobody will ever read. SQLite does not look; this does.

#pragma once

#include <sys/types.h>

#include <string>

namespace zelk::accumulate {

class file_identity {
 public:
  // Remembers which files `path` and its write-ahead log are now. A log that is
  // not there is remembered as none.
  explicit file_identity(const std::string& path);

  // Whether the same files lie there now. A log may come, but not go.
  bool unchanged();
  // Whether the same database lies there, whatever became of its log.
  bool same_database() const;

 private:
  struct file {
    std::string path;
    dev_t device = 0;
    ino_t inode = 0;  // 0: none
  };

  static void look(file& place);

  file database_;
  file log_;
};

}  // namespace zelk::accumulate
