// What two nodes find out about the network between them.
//
// Both ends agree on nothing but the deadline; the end that connected leads.
// Times are taken at the receiver, whose clock is the only one that knows when
// bytes have arrived.

#pragma once

#include <cstdint>

#include "provider/src/net_pairs/bounded_socket.h"

namespace zelk::net_pairs {

struct measure_plan {
  std::uint32_t pings = 200;
  milliseconds ping_time{1000};   // at most, for all of them
  milliseconds stream_time{250};  // for each direction
  // Beside those times: a slow link drains what is on its way when the sender
  // stops.
  milliseconds slack{3000};
};

struct pair_figures {
  double latency_us = 0;          // half of the median round trip of one byte
  double forward_mb_s = 0;        // from the end that connected; 10^6 bytes
  double backward_mb_s = 0;       // to it
  std::uint64_t retransmits = 0;  // segments sent again, by both ends
};

// The leading end. Throws `failure`.
pair_figures lead_measurement(bounded_socket& partner, const measure_plan& how);

// The other end; `stream_time` is how long it sends.
void follow_measurement(bounded_socket& partner, milliseconds stream_time);

inline milliseconds most_time(const measure_plan& how) {
  return how.ping_time + 2 * how.stream_time + how.slack;
}

}  // namespace zelk::net_pairs
