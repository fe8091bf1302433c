// How the two ends of a measurement know each other.
//
// Every run has a secret of its own, which each agent gets through its start
// (never through a command line, which everybody on the node can read). Whoever
// connects must say it, with the number of the measurement, and is told its
// other half: neither a port scanner nor a node that another one's name
// resolves to by mistake can become part of a measurement.

#pragma once

#include <array>
#include <cstdint>
#include <string>
#include <string_view>

#include "provider/src/net_pairs/bounded_socket.h"

namespace zelk::net_pairs {

struct secret {
  std::array<char, 16> asked{};   // said by who connects
  std::array<char, 16> answer{};  // said by who accepts

  std::string hex() const;
  // Throws `failure` for anything but 64 hexadecimal digits.
  static secret from_hex(std::string_view text);
  static secret random();
};

// Returns the connection that says the secret and `number`. All others are
// closed: at once when they say something else, at the deadline when they say
// nothing; neither of them makes the right one wait. Ends early, by `failure`,
// when there is something to read from `control` (-1: nobody looks).
bounded_socket accept_partner(const listener& from, const secret& shared,
                              std::uint32_t number, clock::time_point deadline,
                              int control);

// Connects, says the secret and checks the answer.
bounded_socket greet(const std::string& host, std::uint16_t port,
                     const secret& shared, std::uint32_t number,
                     clock::time_point deadline);

}  // namespace zelk::net_pairs
