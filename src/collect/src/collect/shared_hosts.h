// Nodes that answer under one host name: two names that lead to one host, so
// that one of the nodes has not been looked at.
//
// That a host calls itself otherwise than the user does is common and no
// finding; that two nodes are the same host is one.

#pragma once

#include <string>
#include <string_view>
#include <unordered_map>

namespace zelk::collect {

class shared_hosts {
 public:
  // `node` answered as `host`. Returns the node that answered as the same host
  // before, "" when there is none. A name of the loop-back kind tells nothing
  // about a host and is passed over.
  std::string add(const std::string& node, const std::string& host);

 private:
  std::unordered_map<std::string, std::string> node_of_;  // by host
};

// What is said of a node that is the same host as `other`.
std::string same_host_text(std::string_view host, std::string_view other);

}  // namespace zelk::collect
