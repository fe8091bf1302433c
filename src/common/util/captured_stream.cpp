#include "src/common/util/captured_stream.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>

namespace zelk::util {
namespace {

// Bytes. Most commands print a few hundred; who prints a lot is read in pieces
// as big as the largest pipe that an ordinary user may have.
constexpr std::size_t least_piece = 4096;
constexpr std::size_t most_piece = 1 << 20;

// A piece of this size shows that the pipe (64 KiB at first) runs full. Larger
// pipes are rationed, 64 for each user, so only who needs one takes one.
constexpr ssize_t piece_of_a_busy_pipe = 1 << 15;

}  // namespace

void captured_stream::enlarge_pipe() {
  enlarged_ = true;
  ::fcntl(fd_.get(), F_SETPIPE_SZ, static_cast<int>(most_piece));
}

// Returns 0 when nothing is there now, and at the end.
std::size_t captured_stream::read_once() {
  static std::array<unsigned char, 1 << 16> waste;
  unsigned char* to = waste.data();
  std::size_t room = waste.size();
  if (!discarding_) {
    to = bytes_.free_tail(std::clamp(bytes_.size(), least_piece, most_piece));
    room = std::min(bytes_.free_size(), most_piece);
  }
  ssize_t got = 0;
  do {
    got = ::read(fd_.get(), to, room);
  } while (got < 0 && errno == EINTR);
  if (got < 0 && errno == EAGAIN) return 0;
  if (got <= 0) {
    fd_.reset();
    return 0;
  }
  if (!discarding_) bytes_.grown_by(static_cast<std::size_t>(got));
  if (!enlarged_ && got >= piece_of_a_busy_pipe) enlarge_pipe();
  return static_cast<std::size_t>(got);
}

std::size_t captured_stream::read_available(std::size_t most) {
  std::size_t total = 0;
  while (!at_end() && total < most) {
    const std::size_t got = read_once();
    if (got == 0) break;
    total += got;
  }
  return total;
}

void captured_stream::discard() {
  discarding_ = true;
  bytes_ = byte_buffer();
}

}  // namespace zelk::util
