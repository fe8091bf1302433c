#include "src/collect/src/accumulate/event_pipe.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <poll.h>
#include <unistd.h>

#include <cerrno>
#include <utility>

namespace zelk::accumulate {

event_pipe::event_pipe(int fd, std::size_t most) : fd_(fd), most_(most) {
  if (!fd_) return;
  ::fcntl(fd, F_SETFL, ::fcntl(fd, F_GETFL) | O_NONBLOCK);
  ::fcntl(fd, F_SETFD, FD_CLOEXEC);
}

void event_pipe::put(const std::string& line) {
  if (!open()) return;
  const std::lock_guard guard(lock_);
  if (gone_) return;
  if (held_.size() - sent_ + line.size() > most_) {
    ++dropped_;
    return;
  }
  tell_of_dropped();
  add(line);
}

void event_pipe::put_last(const std::string& line) {
  if (!open()) return;
  const std::lock_guard guard(lock_);
  tell_of_dropped();
  add(line);
}

void event_pipe::add(const std::string& line) {
  held_ += line;
  held_ += '\n';
}

void event_pipe::tell_of_dropped() {
  if (dropped_ == 0) return;
  add(fmt::format(R"({{"event":"dropped","count":{}}})",
                  std::exchange(dropped_, 0)));
}

bool event_pipe::flush() {
  const std::lock_guard guard(lock_);
  while (sent_ < held_.size() && !gone_) {
    const ssize_t size =
        ::write(fd_.get(), held_.data() + sent_, held_.size() - sent_);
    if (size >= 0)
      sent_ += static_cast<std::size_t>(size);
    else if (errno == EAGAIN || errno == EWOULDBLOCK)
      break;
    else if (errno != EINTR)
      gone_ = true;
  }
  if (gone_) sent_ = held_.size();
  // Moving the rest to the front costs as much as what is written at a time.
  if (sent_ == held_.size() || sent_ > most_ / 2) {
    held_.erase(0, sent_);
    sent_ = 0;
  }
  return !held_.empty();
}

void event_pipe::drain(std::chrono::milliseconds limit) {
  using std::chrono::steady_clock;
  const auto until = steady_clock::now() + limit;
  while (flush()) {
    const auto left = std::chrono::ceil<std::chrono::milliseconds>(
        until - steady_clock::now());
    if (left.count() <= 0) return;
    pollfd wanted = {fd_.get(), POLLOUT, 0};
    ::poll(&wanted, 1, static_cast<int>(left.count()));
  }
}

}  // namespace zelk::accumulate
