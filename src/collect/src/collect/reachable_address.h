// The address under which nodes can reach this machine.
//
// A head node has several; the right one is the one that the system itself uses
// towards the nodes. Names are looked up in a thread of its own, so that a dead
// name server costs no more than the limit.

#pragma once

#include <chrono>
#include <string>
#include <string_view>
#include <vector>

namespace zelk::collect {

struct reachable_address {
  std::string address;  // numeric
  std::string towards;  // the node that it was found with; "": without one
  std::string problem;  // not empty: no address was found
};

// Asks the routing table for the way to the first of `nodes` that have an
// address; failing that, takes this machine's only address.
reachable_address find_reachable_address(const std::vector<std::string>& nodes,
                                         std::chrono::milliseconds limit);

// Where the accumulator listens, and what workers are told of it.
//
//   found "10.1.0.1"                 tcp://10.1.0.1:*      tcp://10.1.0.1:PORT
//   typed "head-ib"                  tcp://*:*             tcp://head-ib:PORT
//   typed "head:5600"                tcp://*:5600          tcp://head:5600
//   typed "[fd00::1]:5600"           tcp://*:5600          tcp://[fd00::1]:5600
//
// What was typed may be an address of another machine that passes it on, so
// everything is listened to then.
struct endpoint_plan {
  std::string bind;
  std::string host;  // as it stands in an endpoint
  std::string problem;
};
endpoint_plan endpoint_for(const std::string& found);
endpoint_plan endpoint_typed(const std::string& text);

// The endpoint for workers: `host`, and the port of what the accumulator says
// it is bound to.
std::string worker_endpoint(const std::string& host, std::string_view bound);

}  // namespace zelk::collect
