// Waits until something may have happened in directories.
//
// Told by inotify(7) where that works. It says nothing about what other hosts
// do in a network file system, so there, and wherever a file has turned up that
// was not announced, the directories are to be looked at again and again.

#pragma once

#include <chrono>
#include <string>
#include <vector>

#include "src/common/util/unique_fd.h"

namespace zelk::accumulate {

class directory_watch {
 public:
  // `poll_interval` is the time between two looks where nothing tells.
  directory_watch(std::vector<std::string> directories,
                  std::chrono::milliseconds poll_interval);

  // Waits until a directory may have changed, `stop_fd` is readable, or `limit`
  // has passed. Returns whether to look at the directories.
  bool wait(int stop_fd, std::chrono::milliseconds limit);

  // The look found files that were not there before. When nobody had announced
  // any, nobody will: from now on it is looked at intervals.
  void found_new_files();

  bool polling() const { return polling_; }

 private:
  void watch_all();
  bool take_events();
  void start_polling(const std::string& why);

  std::vector<std::string> directories_;
  std::chrono::milliseconds poll_interval_;
  util::unique_fd inotify_;
  bool polling_ = false;
  bool announced_ = false;        // since the last look
  bool looked_for_that_ = false;  // the last look was for an announcement
  std::chrono::steady_clock::time_point looked_at_;
};

}  // namespace zelk::accumulate
