// One peer: its descriptor, its stream, and when it was last heard.

#pragma once

#include <sys/types.h>

#include <chrono>
#include <cstdint>
#include <memory>
#include <string>

#include "src/collect/src/accumulate/endpoint.h"
#include "src/collect/src/accumulate/zmtp_stream.h"
#include "src/common/util/unique_fd.h"

namespace zelk::accumulate {

class connection {
 public:
  using clock = std::chrono::steady_clock;

  connection(util::unique_fd fd, std::uint64_t serial, std::size_t max_record,
             memory_budget& budget);

  int fd() const { return fd_.get(); }
  std::uint64_t serial() const { return serial_; }
  const std::string& host() const { return host_; }
  const std::shared_ptr<const std::string>& name() const { return name_; }
  zmtp_stream& stream() { return stream_; }
  const zmtp_stream& stream() const { return stream_; }

  // Reads once, at most `scratch_size` bytes or, with `exactly`, no more than
  // the stream can take before it decides about memory. Bytes of large blocks
  // go where they belong, others to `scratch`; `rest` is what the stream has to
  // be fed with. Returns recv(2)'s result.
  ssize_t receive(char* scratch, std::size_t scratch_size, bool exactly,
                  std::string_view& rest);
  // What the stream said to bytes that went where they belong.
  zmtp_stream::state last_state() const { return last_state_; }

  // Sends what the stream has to say. Returns whether everything is sent.
  bool send_replies();
  // Asks the peer to go, and lets what it has sent come.
  void ask_to_stop();

  // Bookkeeping of the receiver, which looks after many.
  clock::time_point connected_at;
  clock::time_point heard_at;
  clock::time_point pinged_at;
  bool pinged = false;           // and not heard since
  bool waiting = false;          // for memory
  bool wants_to_send = false;    // the descriptor's queue was full
  std::uint64_t bytes = 0;       // read, ever
  std::uint64_t bytes_then = 0;  // read until the last sweep
  int slow_sweeps = 0;

 private:
  util::unique_fd fd_;
  const std::uint64_t serial_;
  std::string host_;
  std::shared_ptr<const std::string> name_;
  zmtp_stream stream_;
  std::string unsent_;
  zmtp_stream::state last_state_ = zmtp_stream::state::reading;
};

}  // namespace zelk::accumulate
