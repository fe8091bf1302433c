#include "src/collect/src/collect/reachable_address.h"

#include <arpa/inet.h>
#include <ifaddrs.h>
#include <net/if.h>
#include <netdb.h>
#include <netinet/in.h>
#include <sys/socket.h>

#include <algorithm>
#include <charconv>
#include <future>
#include <memory>
#include <thread>
#include <utility>

#include "src/common/util/unique_fd.h"

namespace zelk::collect {

namespace {

// Nodes of one cluster are reached the same way. A few may be gone from the
// name service.
constexpr std::size_t nodes_tried = 5;
// Where nothing listens: connecting a datagram socket sends nothing.
constexpr char discard_port[] = "9";

using unique_addresses = std::unique_ptr<addrinfo, void (*)(addrinfo*)>;

unique_addresses look_up(const std::string& name) {
  addrinfo hints = {};
  hints.ai_socktype = SOCK_DGRAM;
  hints.ai_flags = AI_ADDRCONFIG;
  addrinfo* found = nullptr;
  if (::getaddrinfo(name.c_str(), discard_port, &hints, &found) != 0)
    found = nullptr;
  return {found, ::freeaddrinfo};
}

std::string numeric(const sockaddr* address, socklen_t size) {
  char text[NI_MAXHOST];
  if (::getnameinfo(address, size, text, sizeof text, nullptr, 0,
                    NI_NUMERICHOST) != 0)
    return "";
  return text;
}

bool is_loopback(const sockaddr* address) {
  if (address->sa_family == AF_INET) {
    in_addr v4 = reinterpret_cast<const sockaddr_in*>(address)->sin_addr;
    return (ntohl(v4.s_addr) >> 24) == 127;
  }
  return address->sa_family == AF_INET6 &&
         IN6_IS_ADDR_LOOPBACK(
             &reinterpret_cast<const sockaddr_in6*>(address)->sin6_addr);
}

struct source_address {
  std::string text;
  bool loopback = false;
};

// The address of ours that a packet to `target` would carry.
source_address source_towards(const addrinfo& target) {
  const util::unique_fd fd(
      ::socket(target.ai_family, SOCK_DGRAM | SOCK_CLOEXEC, 0));
  if (!fd || ::connect(fd.get(), target.ai_addr, target.ai_addrlen) != 0)
    return {};
  sockaddr_storage own = {};
  socklen_t size = sizeof own;
  auto* const address = reinterpret_cast<sockaddr*>(&own);
  if (::getsockname(fd.get(), address, &size) != 0) return {};
  return {numeric(address, size), is_loopback(address)};
}

// Version 4 first: it is what everything on a node speaks unasked.
source_address source_towards(const std::string& node) {
  const unique_addresses all = look_up(node);
  for (const int family : {AF_INET, AF_INET6})
    for (const addrinfo* each = all.get(); each != nullptr;
         each = each->ai_next) {
      if (each->ai_family != family) continue;
      source_address found = source_towards(*each);
      if (!found.text.empty()) return found;
    }
  return {};
}

// Addresses of this machine that others may know.
std::vector<std::string> own_addresses() {
  std::vector<std::string> list;
  ifaddrs* all = nullptr;
  if (::getifaddrs(&all) != 0) return list;
  for (const ifaddrs* each = all; each != nullptr; each = each->ifa_next) {
    if (each->ifa_addr == nullptr || each->ifa_addr->sa_family != AF_INET ||
        (each->ifa_flags & IFF_UP) == 0 ||
        (each->ifa_flags & IFF_LOOPBACK) != 0)
      continue;
    list.push_back(numeric(each->ifa_addr, sizeof(sockaddr_in)));
  }
  ::freeifaddrs(all);
  return list;
}

// A loopback source means that the node is this machine under another name,
// which says nothing about the others: it is taken only when all are.
reachable_address by_route(const std::vector<std::string>& nodes) {
  reachable_address here;
  for (const std::string& node : nodes) {
    source_address found = source_towards(node);
    if (found.text.empty()) continue;
    if (!found.loopback) return {std::move(found.text), node, ""};
    if (here.address.empty()) here = {std::move(found.text), node, ""};
  }
  return here;
}

reachable_address without_names(const std::string& why) {
  const std::vector<std::string> own = own_addresses();
  if (own.size() == 1) return {own.front(), "", ""};
  return {"", "",
          why +
              "; expected --address ADDRESS under which nodes reach this "
              "machine"};
}

std::string bracketed(const std::string& address) {
  const bool bare = address.find(':') != address.npos && address.front() != '[';
  return bare ? "[" + address + "]" : address;
}

bool is_port(std::string_view text) {
  unsigned int number = 0;
  const char* const last = text.data() + text.size();
  const auto [end, fault] = std::from_chars(text.data(), last, number);
  return fault == std::errc() && end == last && number >= 1 && number <= 65535;
}

}  // namespace

reachable_address find_reachable_address(const std::vector<std::string>& nodes,
                                         std::chrono::milliseconds limit) {
  const std::vector<std::string> some(
      nodes.begin(), nodes.begin() + static_cast<std::ptrdiff_t>(
                                         std::min(nodes_tried, nodes.size())));
  // Not std::async: its future waits for the thread, and the thread for a name
  // server.
  auto promise = std::make_shared<std::promise<reachable_address>>();
  std::future<reachable_address> answer = promise->get_future();
  std::thread([promise, some] { promise->set_value(by_route(some)); }).detach();
  if (answer.wait_for(limit) != std::future_status::ready)
    return without_names("looking up the nodes' addresses took too long");
  reachable_address found = answer.get();
  if (!found.address.empty()) return found;
  return without_names(
      "none of the first nodes has an address that this "
      "machine knows a way to");
}

endpoint_plan endpoint_for(const std::string& found) {
  const std::string host = bracketed(found);
  return {"tcp://" + host + ":*", host, ""};
}

endpoint_plan endpoint_typed(const std::string& text) {
  const std::string mistake =
      "--address: expected HOST, HOST:PORT or [ADDRESS]:PORT; found '" + text +
      "'";
  const std::size_t bracket = text.rfind(']');
  const std::size_t colon = text.rfind(':');
  const bool many = text.find(':') != colon;  // a version 6 address as it is
  if (text.empty() || text.find_first_of("/ \t") != text.npos)
    return {"", "", mistake};
  const bool port_follows =
      bracket == text.npos ? colon != text.npos && !many : bracket < colon;
  if (!port_follows || colon == text.npos) {
    if (bracket != text.npos && bracket + 1 != text.size())
      return {"", "", mistake};
    return {"tcp://*:*", bracketed(text), ""};
  }
  const std::string port = text.substr(colon + 1);
  if (colon == 0 || !is_port(port)) return {"", "", mistake};
  return {"tcp://*:" + port, text.substr(0, colon), ""};
}

std::string worker_endpoint(const std::string& host, std::string_view bound) {
  if (!bound.starts_with("tcp://")) return std::string(bound);
  const std::size_t colon = bound.rfind(':');
  return "tcp://" + host + std::string(bound.substr(colon));
}

}  // namespace zelk::collect
