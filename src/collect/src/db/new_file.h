// A file that appears under its name whole and on disk, or not at all.
//
// Whoever interrupts the program (SIGINT, SIGTERM, SIGHUP) leaves no part of it
// either; SIGKILL leaves PATH.XXXXXX. One at a time in a process.

#pragma once

#include <signal.h>

#include <array>
#include <string>

#include "src/common/util/unique_fd.h"

namespace zelk::db {

class new_file {
 public:
  // Makes a file of another name beside `path`, for its owner alone. `replace`:
  // whether a file that is there may be. Throws refusal.
  new_file(std::string path, bool replace);
  // Removes what was not kept. Signals are treated as before.
  ~new_file();
  new_file(const new_file&) = delete;
  new_file& operator=(const new_file&) = delete;

  int fd() const { return fd_.get(); }

  // Gives it its name. Throws failure.
  void keep();

 private:
  void make();

  std::string path_;
  std::string temporary_;
  bool replace_;
  util::unique_fd fd_;
  std::array<struct sigaction, 3> before_ = {};  // of the signals
};

}  // namespace zelk::db
