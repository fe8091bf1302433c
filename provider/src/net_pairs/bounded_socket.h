// TCP with a deadline on everything.
//
// Every function throws `failure` with words for people when it cannot do what
// it says, and when the deadline comes. A socket blocks, with a time-out that
// is set anew where it counts: a wait in poll(2) before each read would be part
// of the latency that is measured.

#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <stdexcept>
#include <string>

#include "src/common/util/unique_fd.h"

namespace zelk::net_pairs {

using clock = std::chrono::steady_clock;
using std::chrono::milliseconds;

struct failure : std::runtime_error {
  using std::runtime_error::runtime_error;
};

// `call` and the words for `code`.
failure system_failure(const std::string& call, int code);

// Milliseconds until then for poll(2), rounded up, never negative.
int poll_time(clock::time_point deadline);

class bounded_socket {
 public:
  explicit bounded_socket(util::unique_fd fd) : fd_(std::move(fd)) {}

  // For all that follows.
  void set_deadline(clock::time_point deadline);
  // No waiting for more data before a small message is sent.
  void set_no_delay();

  void send(const void* data, std::size_t size);
  void receive(void* data, std::size_t size);

  // Segments that this end has sent more than once.
  std::uint64_t retransmits() const;

  int fd() const { return fd_.get(); }

 private:
  void arm();

  util::unique_fd fd_;
  clock::time_point deadline_;
};

struct listener {
  util::unique_fd fd;
  std::uint16_t port = 0;  // chosen by the kernel
};

// On all addresses of the node, of both families where there are both.
listener listen_anywhere();

// Tries each address of `host` until one accepts.
bounded_socket connect_to(const std::string& host, std::uint16_t port,
                          clock::time_point deadline);

}  // namespace zelk::net_pairs
