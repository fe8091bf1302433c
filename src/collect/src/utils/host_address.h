// The numeric address of a host name.

#pragma once

#include <string>

namespace zelk {

// Returns the IPv4 address of `host` in dotted decimal, the first one where
// there are several, never a name. Returns "" with one error record when there
// is none; a name that has only IPv6 addresses has none. Asks the resolver and
// waits for it.
std::string resolve_host_address(const char* host);

}  // namespace zelk
