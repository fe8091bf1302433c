#include "src/collect/src/accumulate/endpoint.h"

#include <arpa/inet.h>
#include <ifaddrs.h>
#include <netdb.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <memory>
#include <string_view>

#include "src/common/util/errno_text.h"

namespace zelk::accumulate {

namespace {

constexpr std::string_view tcp_prefix = "tcp://";
constexpr std::string_view ipc_prefix = "ipc://";

// An address of any family.
struct address {
  sockaddr_storage storage = {};
  socklen_t length = 0;

  sockaddr* get() { return reinterpret_cast<sockaddr*>(&storage); }
  const sockaddr* get() const {
    return reinterpret_cast<const sockaddr*>(&storage);
  }
};

address copy_of(const sockaddr* from, socklen_t length) {
  address copy;
  std::memcpy(&copy.storage, from, length);
  copy.length = length;
  return copy;
}

std::string problem_with(const std::string& endpoint, const std::string& why) {
  return "cannot listen on '" + endpoint + "': " + why;
}

std::string errno_problem(const std::string& endpoint, int code) {
  return "cannot listen on '" + endpoint + "' " + util::errno_text(code);
}

struct host_and_port {
  std::string host;
  std::string port;
};

// Requires: the prefix is off. An IPv6 address stands in brackets.
host_and_port split_host(std::string_view text) {
  const std::size_t colon = text.rfind(':');
  if (colon == text.npos) return {};
  std::string_view host = text.substr(0, colon);
  if (host.size() > 2 && host.front() == '[' && host.back() == ']')
    host = host.substr(1, host.size() - 2);
  return {std::string(host), std::string(text.substr(colon + 1))};
}

bool is_port(const std::string& text) {
  return !text.empty() && text.size() <= 5 &&
         std::all_of(text.begin(), text.end(),
                     [](char c) { return c >= '0' && c <= '9'; }) &&
         std::stoi(text) <= 65535;
}

void set_port(address& where, const std::string& port) {
  const auto number = htons(static_cast<std::uint16_t>(std::stoi(port)));
  if (where.storage.ss_family == AF_INET6)
    reinterpret_cast<sockaddr_in6*>(&where.storage)->sin6_port = number;
  else
    reinterpret_cast<sockaddr_in*>(&where.storage)->sin_port = number;
}

// The IPv4 addresses of the network interface of that name.
std::vector<address> addresses_of_interface(const std::string& name) {
  std::vector<address> found;
  ifaddrs* list = nullptr;
  if (::getifaddrs(&list) != 0) return found;
  const std::unique_ptr<ifaddrs, void (*)(ifaddrs*)> owner(list, ::freeifaddrs);
  for (const ifaddrs* one = list; one != nullptr; one = one->ifa_next)
    if (one->ifa_name == name && one->ifa_addr != nullptr &&
        one->ifa_addr->sa_family == AF_INET)
      found.push_back(copy_of(one->ifa_addr, sizeof(sockaddr_in)));
  return found;
}

std::vector<address> addresses_of_name(const std::string& name,
                                       std::string& problem) {
  addrinfo hints = {};
  hints.ai_socktype = SOCK_STREAM;
  hints.ai_flags = AI_PASSIVE;
  addrinfo* list = nullptr;
  const int code = ::getaddrinfo(name.c_str(), nullptr, &hints, &list);
  if (code != 0) {
    problem = ::gai_strerror(code);
    return {};
  }
  const std::unique_ptr<addrinfo, void (*)(addrinfo*)> owner(list,
                                                             ::freeaddrinfo);
  std::vector<address> found;
  for (const addrinfo* one = list; one != nullptr; one = one->ai_next)
    found.push_back(copy_of(one->ai_addr, one->ai_addrlen));
  return found;
}

std::vector<address> addresses_of(const std::string& host,
                                  std::string& problem) {
  if (host == "*") return addresses_of_name("0.0.0.0", problem);
  std::vector<address> found = addresses_of_interface(host);
  return found.empty() ? addresses_of_name(host, problem) : found;
}

std::string text_of(const address& where) {
  char host[INET6_ADDRSTRLEN] = "";
  char port[8] = "";
  ::getnameinfo(where.get(), where.length, host, sizeof host, port, sizeof port,
                NI_NUMERICHOST | NI_NUMERICSERV);
  const std::string name = host;
  const bool is_v6 = name.find(':') != std::string::npos;
  return (is_v6 ? "[" + name + "]" : name) + ":" + port;
}

address bound_address(int fd) {
  address where;
  where.length = sizeof where.storage;
  ::getsockname(fd, where.get(), &where.length);
  return where;
}

// Returns a listening socket, or an empty one with errno set.
util::unique_fd listen_at(const address& where, int backlog) {
  util::unique_fd fd(::socket(where.storage.ss_family,
                              SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0));
  if (!fd) return fd;
  // A server that is started again need not wait for its old connections.
  const int on = 1;
  ::setsockopt(fd.get(), SOL_SOCKET, SO_REUSEADDR, &on, sizeof on);
  // What accepted connections inherit. The system's own limit of some megabytes
  // for each is made for long distances; here it is what ten thousand peers may
  // occupy and what is lost with this process.
  constexpr int buffer = 256 * 1024;  // bytes; Linux doubles it
  ::setsockopt(fd.get(), SOL_SOCKET, SO_RCVBUF, &buffer, sizeof buffer);
  if (::bind(fd.get(), where.get(), where.length) == 0 &&
      ::listen(fd.get(), backlog) == 0)
    return fd;
  const int code = errno;
  fd.reset();
  errno = code;
  return fd;
}

bind_result bind_tcp(const std::string& endpoint, int backlog) {
  bind_result result;
  host_and_port parts = split_host(endpoint.substr(tcp_prefix.size()));
  if (parts.port == "*") parts.port = "0";
  if (parts.host.empty() || !is_port(parts.port)) {
    result.problem = problem_with(endpoint, "expected tcp://HOST:PORT");
    return result;
  }
  std::string problem = "no address";
  for (address& where : addresses_of(parts.host, problem)) {
    set_port(where, parts.port);
    util::unique_fd fd = listen_at(where, backlog);
    if (!fd) {
      result.problem = errno_problem(endpoint, errno);
      return result;
    }
    std::string bound(tcp_prefix);
    bound += text_of(bound_address(fd.get()));
    result.sockets.push_back({std::move(fd), std::move(bound), {}});
  }
  if (result.sockets.empty()) result.problem = problem_with(endpoint, problem);
  return result;
}

// Whether a socket file lies there that nobody listens to any more.
bool is_left_over(const address& where) {
  const util::unique_fd probe(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
  return probe && ::connect(probe.get(), where.get(), where.length) != 0 &&
         errno == ECONNREFUSED;
}

bind_result bind_ipc(const std::string& endpoint, int backlog) {
  bind_result result;
  const std::string path = endpoint.substr(ipc_prefix.size());
  address where;
  auto* local = reinterpret_cast<sockaddr_un*>(&where.storage);
  if (path.empty() || path.size() >= sizeof local->sun_path) {
    result.problem = problem_with(
        endpoint, "expected a path of at most " +
                      std::to_string(sizeof local->sun_path - 1) + " bytes");
    return result;
  }
  local->sun_family = AF_UNIX;
  std::memcpy(local->sun_path, path.data(), path.size());
  where.length = sizeof *local;

  if (is_left_over(where)) ::unlink(path.c_str());
  const mode_t mask = ::umask(0117);
  util::unique_fd fd = listen_at(where, backlog);
  const int code = errno;
  ::umask(mask);
  if (!fd) {
    result.problem = errno_problem(endpoint, code);
    return result;
  }
  result.sockets.push_back({std::move(fd), endpoint, path});
  return result;
}

}  // namespace

bind_result bind_endpoint(const std::string& endpoint, int backlog) {
  if (endpoint.starts_with(tcp_prefix)) return bind_tcp(endpoint, backlog);
  if (endpoint.starts_with(ipc_prefix)) return bind_ipc(endpoint, backlog);
  bind_result result;
  result.problem =
      problem_with(endpoint, "expected tcp://HOST:PORT or ipc://PATH");
  return result;
}

bool reaches_the_network(const std::string& endpoint) {
  return endpoint.starts_with(tcp_prefix) &&
         !endpoint.starts_with("tcp://127.") &&
         !endpoint.starts_with("tcp://[::1]:") &&
         !endpoint.starts_with("tcp://localhost:") &&
         !endpoint.starts_with("tcp://lo:");
}

peer_name name_of_peer(int fd) {
  address where;
  where.length = sizeof where.storage;
  if (::getpeername(fd, where.get(), &where.length) != 0) return {"?", "?"};
  if (where.storage.ss_family == AF_UNIX) {
    ucred who = {};
    socklen_t size = sizeof who;
    ::getsockopt(fd, SOL_SOCKET, SO_PEERCRED, &who, &size);
    const std::string host = "local user " + std::to_string(who.uid);
    return {host, host + " process " + std::to_string(who.pid)};
  }
  const std::string full = text_of(where);
  return {full.substr(0, full.rfind(':')), full};
}

}  // namespace zelk::accumulate
