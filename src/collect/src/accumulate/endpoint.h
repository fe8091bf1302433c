// Endpoints as ZeroMQ writes them, and listening sockets made of them.
//
//   tcp://127.0.0.1:5557   one address          tcp://*:5557    all, IPv4
//   tcp://head01:5557      a name's addresses   tcp://[::]:5557 all, both
//   tcp://eth0:5557        an interface's       tcp://*:*       any free port
//   ipc:///run/zelk.sock   a local socket, for its owner and group

#pragma once

#include <string>
#include <vector>

#include "src/common/util/unique_fd.h"

namespace zelk::accumulate {

struct listening_socket {
  util::unique_fd fd;
  std::string endpoint;  // with the port that was given
  std::string path;      // of a local socket, to be removed at the end
};

struct bind_result {
  std::vector<listening_socket> sockets;
  std::string problem;  // empty: every address of the endpoint is bound
};

// Binds `endpoint` and starts listening; descriptors do not block. Connections
// that are not yet accepted wait in a queue of `backlog`.
bind_result bind_endpoint(const std::string& endpoint, int backlog);

// Whether a peer on another host can reach it.
bool reaches_the_network(const std::string& endpoint);

struct peer_name {
  std::string host;  // "10.0.0.7", or "local user 1000"
  std::string full;  // "10.0.0.7:41234"
};

// Returns who is at the other end of a connection that was accepted.
peer_name name_of_peer(int fd);

}  // namespace zelk::accumulate
