// Counts for people.

#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace zelk::text {

// "0 B", "736 B", "12.5 MiB"
std::string size_text(std::int64_t bytes);

// Bytes of "4096", "512K", "5 MB" or "64MiB", units being powers of 1024 in
// either case up to T; nothing for anything else, or what 63 bits do not hold.
std::optional<std::int64_t> size_bytes(std::string_view text);

// "1 run", "2 runs"
std::string counted(std::int64_t count, const std::string& what);

}  // namespace zelk::text
