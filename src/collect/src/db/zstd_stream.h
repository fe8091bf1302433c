// Bytes to and from a file in one zstd frame, which ends in a checksum.
//
// Memory is bounded by the frame's window, whatever a file says. Only the .cpp
// includes zstd.h.

#pragma once

#include <cstddef>
#include <memory>
#include <string_view>

namespace zelk::db {

// Throws failure with the system's words when the file cannot be written to.
class zstd_writer {
 public:
  explicit zstd_writer(int fd);  // which stays the caller's
  ~zstd_writer();
  zstd_writer(const zstd_writer&) = delete;
  zstd_writer& operator=(const zstd_writer&) = delete;

  void write(std::string_view bytes);
  // Ends the frame. What was written is complete after this only.
  void finish();

 private:
  struct state;
  std::unique_ptr<state> state_;
};

// Throws archive_error when the bytes are no such frame, are damaged, or cannot
// be read.
class zstd_reader {
 public:
  explicit zstd_reader(int fd);
  ~zstd_reader();
  zstd_reader(const zstd_reader&) = delete;
  zstd_reader& operator=(const zstd_reader&) = delete;

  // Returns the next bytes, at most `count`, in `to`; 0 at the end of the
  // frame, which must be the end of the file.
  std::size_t read(char* to, std::size_t count);

 private:
  struct state;
  std::unique_ptr<state> state_;
};

}  // namespace zelk::db
