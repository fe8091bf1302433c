// Lines from a descriptor that somebody else fills, without ever waiting.
//
// A line that is too long is told of and passed over to its end, so what is
// held is bounded. Owns the descriptor.

#pragma once

#include <deque>
#include <optional>
#include <string>

#include "src/common/util/unique_fd.h"

namespace zelk::accumulate {

class control_pipe {
 public:
  // Holds a thousand results with all the names and a reason of a page each.
  static constexpr std::size_t longest_line = std::size_t{4} << 20;  // bytes

  explicit control_pipe(int fd = -1, std::size_t longest = longest_line);

  // Reads what is there, as much as a line at most. Returns false once there is
  // nothing more to come; a last line without an end is none.
  bool read();
  // The next whole line, without its end.
  std::optional<std::string> line();
  // How many lines were too long since this was asked last.
  std::size_t overlong();

  bool open() const { return static_cast<bool>(fd_); }
  int fd() const { return fd_.get(); }
  void close() { fd_.reset(); }

 private:
  void take(const char* bytes, std::size_t size);

  util::unique_fd fd_;
  std::size_t longest_;
  std::string begun_;  // the line whose end has not come
  bool skipping_ = false;
  std::size_t overlong_ = 0;
  std::deque<std::string> lines_;
};

}  // namespace zelk::accumulate
