// Lines to a descriptor whose reader may be slow, stuck or gone, without ever
// waiting for it.
//
// What the descriptor does not take is held up to a bound; beyond that, lines
// are dropped, and counted in a line of their own as soon as there is room
// again:
//
//   {"event":"dropped","count":12}
//
// Lines may be put from several threads; the rest belongs to one. Owns the
// descriptor. SIGPIPE must be ignored.

#pragma once

#include <chrono>
#include <cstdint>
#include <mutex>
#include <string>

#include "src/common/util/unique_fd.h"

namespace zelk::accumulate {

class event_pipe {
 public:
  // Some ten thousand results.
  static constexpr std::size_t most_held = std::size_t{2} << 20;  // bytes

  explicit event_pipe(int fd = -1, std::size_t most = most_held);

  bool open() const { return static_cast<bool>(fd_); }
  int fd() const { return fd_.get(); }

  // `line` has no end. Without a descriptor it goes nowhere.
  void put(const std::string& line);
  // The last one: it is held whatever there is.
  void put_last(const std::string& line);

  // Writes what the descriptor takes. Returns whether something is left; then
  // it is to be called again when the descriptor can be written to.
  bool flush();
  // The same for as long as there is something left, but not beyond `limit`.
  void drain(std::chrono::milliseconds limit);

 private:
  void add(const std::string& line);
  void tell_of_dropped();

  util::unique_fd fd_;
  const std::size_t most_;
  std::mutex lock_;
  std::string held_;
  std::size_t sent_ = 0;  // of held_
  std::uint64_t dropped_ = 0;
  bool gone_ = false;  // the reader is
};

}  // namespace zelk::accumulate
