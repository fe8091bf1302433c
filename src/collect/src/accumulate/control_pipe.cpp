#include "src/collect/src/accumulate/control_pipe.h"

#include <fcntl.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstring>
#include <utility>

namespace zelk::accumulate {

control_pipe::control_pipe(int fd, std::size_t longest)
    : fd_(fd), longest_(longest) {
  if (!fd_) return;
  ::fcntl(fd, F_SETFL, ::fcntl(fd, F_GETFL) | O_NONBLOCK);
  ::fcntl(fd, F_SETFD, FD_CLOEXEC);
}

bool control_pipe::read() {
  std::array<char, std::size_t{64} * 1024> piece;
  for (std::size_t got = 0; got < longest_;) {
    const ssize_t size = ::read(fd_.get(), piece.data(), piece.size());
    if (size < 0 && errno == EINTR) continue;
    if (size < 0 && (errno == EAGAIN || errno == EWOULDBLOCK)) return true;
    if (size <= 0) return false;
    got += static_cast<std::size_t>(size);
    take(piece.data(), static_cast<std::size_t>(size));
  }
  return true;
}

void control_pipe::take(const char* bytes, std::size_t size) {
  while (size > 0) {
    const auto* const end =
        static_cast<const char*>(std::memchr(bytes, '\n', size));
    const std::size_t length =
        end == nullptr ? size : static_cast<std::size_t>(end - bytes);
    if (!skipping_ && begun_.size() + length > longest_) {
      skipping_ = true;
      ++overlong_;
      begun_ = {};
    }
    if (!skipping_) begun_.append(bytes, length);
    if (end == nullptr) return;
    if (!std::exchange(skipping_, false)) lines_.push_back(std::move(begun_));
    begun_.clear();
    bytes = end + 1;
    size -= length + 1;
  }
}

std::optional<std::string> control_pipe::line() {
  if (lines_.empty()) return {};
  std::string first = std::move(lines_.front());
  lines_.pop_front();
  return first;
}

std::size_t control_pipe::overlong() {
  return std::exchange(overlong_, 0);
}

}  // namespace zelk::accumulate
