// The provider options file that -p names.

#pragma once

#include <string>

namespace zelk {

struct Config;

// Validates `path` against the install tree's schema and merges its option sets
// into `config`. Returns false when the run must not go on; the reason was
// told.
bool merge_provider_options(Config& config, const std::string& path);

}  // namespace zelk
