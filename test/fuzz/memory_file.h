// A file made of a fuzzer's bytes, for readers that take a path.
//
// The file lives in memory and goes away with its scope.

#pragma once

#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>

#include "src/common/log/settings.h"

namespace zelk {

class memory_file {
 public:
  memory_file(const std::uint8_t* data, std::size_t size)
      : fd_(::memfd_create("input", MFD_CLOEXEC)) {
    if (fd_ < 0 || ::write(fd_, data, size) != static_cast<ssize_t>(size))
      std::abort();
  }
  ~memory_file() { ::close(fd_); }

  memory_file(const memory_file&) = delete;
  memory_file& operator=(const memory_file&) = delete;

  std::string path() const { return "/proc/self/fd/" + std::to_string(fd_); }

 private:
  int fd_;
};

// Makes a broken promise a finding.
inline void require(bool kept) {
  if (!kept) std::abort();
}

// Complaints are what the reader is for here; showing them would only be slow.
inline void silence_log() {
  log::LOG_LEVEL = 0;
}

}  // namespace zelk
