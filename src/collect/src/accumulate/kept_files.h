// Directories for what could not be stored: kept with the reason, never
// deleted.
//
// A refused file NAME has its reason beside it in NAME.reason. The directory is
// made, for its owner alone, when the first file comes.

#pragma once

#include <string>
#include <string_view>

#include "src/collect/src/provider/result.h"

namespace zelk::accumulate {

class kept_files {
 public:
  explicit kept_files(std::string directory);

  const std::string& directory() const { return directory_; }

  // Moves the file `name` out of the directory that `from_fd` is open on and
  // `from` names. A name that is taken gets a number. Returns the path, or ""
  // after one error record; the file is then where it was.
  std::string move(int from_fd, const std::string& from,
                   const std::string& name, const std::string& reason);

  // Writes `record` as a result file. Returns its path, or "" after one error
  // record. With an empty `reason` nothing is wrong with the record.
  std::string write(const provider_result& record, const std::string& reason);

 private:
  bool make_directory();
  void write_reason(const std::string& path, const std::string& reason);

  std::string directory_;
  bool made_ = false;
};

}  // namespace zelk::accumulate
