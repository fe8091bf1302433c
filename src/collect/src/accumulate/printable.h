// Text from outside, made fit for one log line.

#pragma once

#include <string>
#include <string_view>

namespace zelk::accumulate {

// Returns at most `most` bytes of `text`, each byte that is not printable ASCII
// as "?": a host name from the network must not move a terminal's cursor or
// look like a second record.
std::string printable(std::string_view text, std::size_t most = 80);

}  // namespace zelk::accumulate
