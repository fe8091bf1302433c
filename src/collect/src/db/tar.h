// Plain files in a tar stream (POSIX ustar), written and read one by one.
//
// The part of the format that exported files use: no directories, no links, no
// long names, sizes below 8 GiB. The reader takes nothing else. See
// archive_format.h for the order of the members.

#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "src/collect/src/db/zstd_stream.h"

namespace zelk::db {

class tar_writer {
 public:
  // `time`: of all members, seconds since the Unix epoch.
  tar_writer(zstd_writer& out, std::int64_t time) : out_(out), time_(time) {}

  // A member of `size` bytes, which follow by write() in any pieces.
  void begin(std::string_view name, std::int64_t size);
  void write(std::string_view bytes);
  void end();  // of the member

  void finish();  // behind the last member

 private:
  zstd_writer& out_;
  std::int64_t time_;
  std::int64_t size_ = 0;
};

// Throws archive_error, which names the member and where it begins.
class tar_reader {
 public:
  explicit tar_reader(zstd_reader& in) : in_(in) {}

  // Goes to the next member, which must be `name` and have at most `most`
  // bytes. Returns its size. Requires: the member before was read to its end.
  std::int64_t begin(const std::string& name, std::int64_t most);
  // Returns the next bytes of the member, at most `count`, all of them.
  void read(char* to, std::size_t count);
  std::int64_t left() const { return left_; }
  void end();  // of the member

  // Nothing but the end may follow.
  void finish();

  [[noreturn]] void complain(const std::string& what) const;

 private:
  std::size_t read_some(char* to, std::size_t count);
  void read_bytes(char* to, std::size_t count);
  void check_zeros(std::size_t count);

  zstd_reader& in_;
  std::string name_;
  std::int64_t member_ = 0;  // where it begins
  std::int64_t place_ = 0;   // in the uncompressed file, bytes
  std::int64_t size_ = 0;
  std::int64_t left_ = 0;
};

}  // namespace zelk::db
