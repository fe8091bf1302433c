#include "src/collect/src/accumulate/connection.h"

#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/socket.h>

#include <algorithm>
#include <utility>

namespace zelk::accumulate {

namespace {

// Below this a copy is cheaper than the system call that would save it.
constexpr std::size_t least_direct = std::size_t{16} * 1024;
// Of one peer at a time, so that a large record does not hold up the others.
constexpr std::size_t most_direct = std::size_t{256} * 1024;

void set_option(int fd, int level, int name, int value) {
  ::setsockopt(fd, level, name, &value, sizeof value);
}

// A node that loses power sends no farewell. Heartbeats find it, too; this also
// finds it while we wait for memory and read nothing.
void keep_alive(int fd) {
  set_option(fd, SOL_SOCKET, SO_KEEPALIVE, 1);
  set_option(fd, IPPROTO_TCP, TCP_KEEPIDLE, 60);   // seconds
  set_option(fd, IPPROTO_TCP, TCP_KEEPINTVL, 15);  // seconds
  set_option(fd, IPPROTO_TCP, TCP_KEEPCNT, 4);
}

}  // namespace

connection::connection(util::unique_fd fd, std::uint64_t serial,
                       std::size_t max_record, memory_budget& budget)
    : connected_at(clock::now()),
      heard_at(connected_at),
      fd_(std::move(fd)),
      serial_(serial),
      stream_(max_record, budget) {
  peer_name name = name_of_peer(fd_.get());
  host_ = std::move(name.host);
  name_ = std::make_shared<const std::string>(std::move(name.full));
  keep_alive(fd_.get());
}

ssize_t connection::receive(char* scratch, std::size_t scratch_size,
                            bool exactly, std::string_view& rest) {
  const std::span<unsigned char> room = stream_.room();
  last_state_ = zmtp_stream::state::reading;
  if (room.size() >= least_direct) {
    const ssize_t got =
        ::recv(fd_.get(), room.data(), std::min(room.size(), most_direct), 0);
    if (got > 0) last_state_ = stream_.took(static_cast<std::size_t>(got));
    rest = {};
    return got;
  }
  const std::size_t size =
      exactly ? std::min(scratch_size, stream_.wanted()) : scratch_size;
  const ssize_t got = ::recv(fd_.get(), scratch, size, 0);
  rest = {scratch, got > 0 ? static_cast<std::size_t>(got) : 0};
  return got;
}

bool connection::send_replies() {
  unsent_ += stream_.take_replies();
  while (!unsent_.empty()) {
    const ssize_t sent =
        ::send(fd_.get(), unsent_.data(), unsent_.size(), MSG_NOSIGNAL);
    // A peer that is gone is noticed by reading.
    if (sent <= 0) return false;
    unsent_.erase(0, static_cast<std::size_t>(sent));
  }
  unsent_ = {};
  return true;
}

void connection::ask_to_stop() {
  ::shutdown(fd_.get(), SHUT_WR);
}

}  // namespace zelk::accumulate
