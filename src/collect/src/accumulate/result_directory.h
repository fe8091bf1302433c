// A directory into which workers write result files.

#pragma once

#include <functional>
#include <string>

#include "src/common/util/unique_fd.h"

namespace zelk::accumulate {

class result_directory {
 public:
  explicit result_directory(std::string path);

  // Opens it anew, so that one that was mounted, or made again, is seen.
  // Returns false with errno.
  bool open();

  int fd() const { return fd_.get(); }
  const std::string& path() const { return path_; }

  // Calls `visit` with each name of a result file until it returns false. No
  // list of names is made: there may be a million. What appears meanwhile may
  // be left out. Returns false, with errno, when the directory cannot be read.
  bool for_each_result(const std::function<bool(const std::string&)>& visit);

  // Makes removals durable.
  void sync() const;

  // The first line of the file "label" in it, or "".
  std::string label() const;

 private:
  std::string path_;
  util::unique_fd fd_;
};

}  // namespace zelk::accumulate
