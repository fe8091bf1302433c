// The bytes that come out of a pipe, collected as they come.

#pragma once

#include <cstddef>
#include <utility>

#include "src/common/util/byte_buffer.h"
#include "src/common/util/unique_fd.h"

namespace zelk::util {

class captured_stream {
 public:
  // `fd` is the read end of a pipe and does not block.
  explicit captured_stream(unique_fd fd) : fd_(std::move(fd)) {}

  // Reads what is there now, but not much more than `most` bytes, so that a
  // writer that never stops cannot keep us here. Returns how many bytes came.
  // Throws std::bad_alloc with all that came before still held.
  std::size_t read_available(std::size_t most);
  // From now on what comes is thrown away, and what had come is.
  void discard();

  int fd() const { return fd_.get(); }  // -1 at the end of the stream
  bool at_end() const { return !fd_; }
  byte_buffer& bytes() { return bytes_; }

 private:
  std::size_t read_once();
  void enlarge_pipe();

  unique_fd fd_;
  byte_buffer bytes_;
  bool discarding_ = false;
  bool enlarged_ = false;
};

}  // namespace zelk::util
