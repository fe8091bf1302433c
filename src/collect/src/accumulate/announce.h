// Tells whoever started this process how far it is.
//
// Two ways, each used only when asked for: a line on a descriptor that the
// starter gave, and datagrams to the socket that systemd names in NOTIFY_SOCKET
// (its readiness protocol, without its library). Failures are of no consequence
// for the work and are debug records.

#pragma once

#include <string>
#include <vector>

namespace zelk::accumulate {

// Writes "READY ENDPOINT\n" for each endpoint to `ready_fd`, unless that is -1,
// and closes it; tells systemd, too.
void announce_ready(int ready_fd, const std::vector<std::string>& endpoints);

// The state for people, as "systemctl status" shows it.
void announce_status(const std::string& text);

void announce_stopping();

// Sends `message` to the socket of NOTIFY_SOCKET. Returns whether there is one
// that took it.
bool notify_supervisor(const std::string& message);

}  // namespace zelk::accumulate
