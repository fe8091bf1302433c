// The name of this host for file names.

#pragma once

#include <string>

namespace zelk {

// Returns at most 255 bytes of gethostname(2)'s name; "" when it fails.
std::string host_name();

}  // namespace zelk
