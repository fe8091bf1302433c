// Test support: what processes and descriptors a piece of code leaves behind.

#pragma once

#include <sys/types.h>

#include <chrono>
#include <functional>
#include <string>
#include <vector>

namespace zelk::util::testing {

// Marks every process that is started while it lives, by an environment
// variable, and finds them wherever they have gone. Kills them in the end.
class process_mark {
 public:
  process_mark();
  ~process_mark();
  process_mark(const process_mark&) = delete;
  process_mark& operator=(const process_mark&) = delete;

  // The marked processes that have not ended, "PID: command line" each.
  std::vector<std::string> alive() const;

 private:
  std::vector<pid_t> find() const;
  std::string variable_;
};

// A folder of its own that is gone, with all in it, in the end.
class scratch_folder {
 public:
  scratch_folder();
  ~scratch_folder();
  scratch_folder(const scratch_folder&) = delete;
  scratch_folder& operator=(const scratch_folder&) = delete;

  const std::string& path() const { return path_; }

 private:
  std::string path_;
};

int open_descriptors();

// True when this process has no child, not even a zombie.
bool has_no_child();

// Returns whether `condition` became true before `longest` was over.
bool wait_until(const std::function<bool()>& condition,
                std::chrono::milliseconds longest = std::chrono::seconds(10));

// Calls `body` in a forked child; a failed EXPECT there fails here.
void in_child(const std::function<void()>& body);

}  // namespace zelk::util::testing
