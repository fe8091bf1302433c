// One result file in a shared directory, taken under its writer's lock.
//
// Opened by name below an open directory, never followed through a link, and
// looked at before it is opened: who may write into a shared directory may
// leave anything there. The lock lasts as long as the object.

#pragma once

#include <sys/types.h>

#include <ctime>
#include <string>

#include "src/collect/src/provider/result.h"
#include "src/common/util/unique_fd.h"

namespace zelk::accumulate {

class result_file {
 public:
  enum class state {
    ours,     // open and locked by us, whole or not
    writing,  // somebody else holds the lock: its writer, or another collector
    gone,     // no file of that name any more
    strange,  // nothing that a writer makes, or not readable: problem() says
  };

  // Opens and locks `name` in the directory that `directory` is open on. Waits
  // for nothing.
  result_file(int directory, std::string name);
  result_file(result_file&&) = default;
  result_file& operator=(result_file&&) = default;

  state now() const { return state_; }
  const std::string& name() const { return name_; }
  const std::string& problem() const { return problem_; }
  std::time_t changed_at() const { return changed_at_; }
  ino_t inode() const { return inode_; }
  // The file system has locks. Without them only its sizes tell whether a file
  // is whole.
  bool locked() const { return locked_; }

  // Whether `name` is still this file, and of one name only.
  bool is_in(int directory) const;
  // Removes it, if it is still there. Returns false, with errno, when that
  // failed.
  bool remove_from(int directory) const;

  enum class content {
    whole,
    short_,   // less than its header says: not all written, or cut off
    bad,      // never was a result
    too_big,  // for the limit
    failed,   // could not be read
  };
  // Reads it into `record`. When it is not whole, problem() says why.
  content read(provider_result& record, std::size_t max_record);

 private:
  bool look(int directory);
  bool open(int directory);
  bool lock(int directory);
  state give_up(state why, const std::string& problem = {});
  content not_whole(content what, const std::string& problem);

  std::string name_;
  util::unique_fd fd_;
  state state_ = state::gone;
  std::string problem_;
  dev_t device_ = 0;
  ino_t inode_ = 0;
  std::size_t size_ = 0;
  std::time_t changed_at_ = 0;
  bool locked_ = true;
};

// Whether a name is one that writers of results choose.
bool is_result_name(std::string_view name);

// The time in the name of a result file, in seconds since the Unix epoch; 0
// where there is none.
//
//   ZELK_MEMORY_node07_1489412345__q8Xz1A   1489412345
std::time_t time_in_name(std::string_view name);

}  // namespace zelk::accumulate
