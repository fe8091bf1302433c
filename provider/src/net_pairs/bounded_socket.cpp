#include "provider/src/net_pairs/bounded_socket.h"

#include <fcntl.h>
#include <netdb.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/time.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <memory>

namespace zelk::net_pairs {
namespace {

using address_list = std::unique_ptr<addrinfo, void (*)(addrinfo*)>;

address_list resolve(const std::string& host, std::uint16_t port) {
  addrinfo hints{};
  hints.ai_socktype = SOCK_STREAM;
  addrinfo* found = nullptr;
  const int code =
      ::getaddrinfo(host.c_str(), std::to_string(port).c_str(), &hints, &found);
  if (code != 0) throw failure("resolve " + host + ": " + ::gai_strerror(code));
  return {found, ::freeaddrinfo};
}

int set_option(int fd, int level, int name, int value) {
  return ::setsockopt(fd, level, name, &value, sizeof value);
}

// 0, or the errno of the attempt.
int finish_connect(int fd, clock::time_point deadline) {
  pollfd waiting{fd, POLLOUT, 0};
  const int ready = ::poll(&waiting, 1, poll_time(deadline));
  if (ready == 0) return ETIMEDOUT;
  int code = ready < 0 ? errno : 0;
  socklen_t size = sizeof code;
  if (ready > 0) ::getsockopt(fd, SOL_SOCKET, SO_ERROR, &code, &size);
  return code;
}

int connect_one(const addrinfo& address, clock::time_point deadline,
                util::unique_fd& connected) {
  util::unique_fd fd(::socket(address.ai_family,
                              SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
  if (!fd) return errno;
  int code = 0;
  if (::connect(fd.get(), address.ai_addr, address.ai_addrlen) != 0)
    code = errno == EINPROGRESS ? finish_connect(fd.get(), deadline) : errno;
  if (code != 0) return code;
  if (::fcntl(fd.get(), F_SETFL, 0) != 0) return errno;
  connected = std::move(fd);
  return 0;
}

util::unique_fd bind_family(int family) {
  util::unique_fd fd(
      ::socket(family, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
  if (!fd) return {};
  sockaddr_storage any{};
  any.ss_family = static_cast<sa_family_t>(family);
  const socklen_t size =
      family == AF_INET6 ? sizeof(sockaddr_in6) : sizeof(sockaddr_in);
  if (family == AF_INET6) set_option(fd.get(), IPPROTO_IPV6, IPV6_V6ONLY, 0);
  constexpr int waiting = 64;  // connections; strangers may be among them
  if (::bind(fd.get(), reinterpret_cast<const sockaddr*>(&any), size) != 0 ||
      ::listen(fd.get(), waiting) != 0)
    return {};
  return fd;
}

std::uint16_t port_of(int fd) {
  sockaddr_storage address{};
  socklen_t size = sizeof address;
  if (::getsockname(fd, reinterpret_cast<sockaddr*>(&address), &size) != 0)
    throw system_failure("getsockname", errno);
  in_port_t port = 0;
  if (address.ss_family == AF_INET6) {
    sockaddr_in6 six{};
    std::memcpy(&six, &address, sizeof six);
    port = six.sin6_port;
  } else {
    sockaddr_in four{};
    std::memcpy(&four, &address, sizeof four);
    port = four.sin_port;
  }
  return ntohs(port);
}

}  // namespace

failure system_failure(const std::string& call, int code) {
  return failure(call + ": " + std::strerror(code));
}

int poll_time(clock::time_point deadline) {
  const auto left =
      std::chrono::ceil<milliseconds>(deadline - clock::now()).count();
  constexpr decltype(left) hour = 3'600'000;  // fits an int
  return static_cast<int>(std::clamp<decltype(left + 0)>(left, 0, hour));
}

void bounded_socket::set_deadline(clock::time_point deadline) {
  deadline_ = deadline;
  arm();
}

// What is left until the deadline becomes the time-out of each single call. A
// time-out of 0 would be none.
void bounded_socket::arm() {
  using std::chrono::microseconds;
  const auto left =
      std::chrono::duration_cast<microseconds>(deadline_ - clock::now())
          .count();
  if (left <= 0) throw failure("no answer in time");
  const timeval time{left / 1'000'000, left % 1'000'000};
  if (::setsockopt(fd(), SOL_SOCKET, SO_RCVTIMEO, &time, sizeof time) != 0 ||
      ::setsockopt(fd(), SOL_SOCKET, SO_SNDTIMEO, &time, sizeof time) != 0)
    throw system_failure("setsockopt", errno);
}

void bounded_socket::set_no_delay() {
  if (set_option(fd(), IPPROTO_TCP, TCP_NODELAY, 1) != 0)
    throw system_failure("setsockopt", errno);
}

void bounded_socket::send(const void* data, std::size_t size) {
  const char* rest = static_cast<const char*>(data);
  while (size > 0) {
    const ssize_t sent = ::send(fd(), rest, size, MSG_NOSIGNAL);
    if (sent < 0 && errno == EINTR) continue;
    if (sent < 0 && errno == EAGAIN) throw failure("no answer in time");
    if (sent < 0) throw system_failure("send", errno);
    rest += sent;
    size -= static_cast<std::size_t>(sent);
    if (size > 0) arm();
  }
}

void bounded_socket::receive(void* data, std::size_t size) {
  char* rest = static_cast<char*>(data);
  while (size > 0) {
    const ssize_t got = ::recv(fd(), rest, size, MSG_WAITALL);
    if (got < 0 && errno == EINTR) continue;
    if (got < 0 && errno == EAGAIN) throw failure("no answer in time");
    if (got < 0) throw system_failure("receive", errno);
    if (got == 0) throw failure("receive: closed by the other end");
    rest += got;
    size -= static_cast<std::size_t>(got);
    if (size > 0) arm();
  }
}

std::uint64_t bounded_socket::retransmits() const {
  tcp_info info{};
  socklen_t size = sizeof info;
  if (::getsockopt(fd(), IPPROTO_TCP, TCP_INFO, &info, &size) != 0)
    throw system_failure("getsockopt", errno);
  return info.tcpi_total_retrans;
}

listener listen_anywhere() {
  listener made;
  made.fd = bind_family(AF_INET6);
  if (!made.fd) made.fd = bind_family(AF_INET);
  if (!made.fd) throw system_failure("listen", errno);
  made.port = port_of(made.fd.get());
  return made;
}

bounded_socket connect_to(const std::string& host, std::uint16_t port,
                          clock::time_point deadline) {
  const address_list addresses = resolve(host, port);
  int code = EADDRNOTAVAIL;
  for (const addrinfo* at = addresses.get(); at != nullptr; at = at->ai_next) {
    util::unique_fd fd;
    code = connect_one(*at, deadline, fd);
    if (code != 0) continue;
    bounded_socket made(std::move(fd));
    made.set_deadline(deadline);
    return made;
  }
  throw system_failure("connect to " + host, code);
}

}  // namespace zelk::net_pairs
