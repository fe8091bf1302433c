#include "src/collect/src/collect/shared_hosts.h"

namespace zelk::collect {

namespace {

bool tells_nothing(std::string_view host) {
  return host.empty() || host == "(none)" || host.starts_with("localhost");
}

}  // namespace

std::string shared_hosts::add(const std::string& node,
                              const std::string& host) {
  if (tells_nothing(host)) return "";
  const auto [place, is_new] = node_of_.emplace(host, node);
  return is_new || place->second == node ? "" : place->second;
}

std::string same_host_text(std::string_view host, std::string_view other) {
  return "is the host '" + std::string(host) + "', and so is " +
         std::string(other) +
         ": two names lead to one host, and one node was not looked at";
}

}  // namespace zelk::collect
