// Times and durations as people type and read them.
//
// Pure functions but for the clock and the time zone. Microseconds since the
// Unix epoch throughout, as the datastore has them.

#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace zelk::text {

constexpr std::int64_t usec_per_sec = 1'000'000;

std::int64_t now_usec();

// Reads a duration; nothing when it is none or longer than 1,000 years.
//
//   "90s" "15m" "12h" "7d" "2w"    "1d12h"    "7"  nothing: of what?
std::optional<std::int64_t> duration_usec(std::string_view text);

// A point in time, and how long what was typed lasts: a day, or no time.
struct time_span {
  std::int64_t from_usec = 0;   // included
  std::int64_t until_usec = 0;  // not included
};

// Reads "now", "now-7d" or a day, "2025-11-20" in local time.
std::optional<time_span> read_time(std::string_view text,
                                   std::int64_t present_usec);

// "2025-11-20 02:00", local time, or with seconds.
std::string local_time(std::int64_t usec, bool seconds = false);
// "2025-11-20T01:00:00Z"
std::string utc_time(std::int64_t usec);

// "5m12s", "1h02m", "3d04h", "0.4s": two units at most.
std::string short_duration(std::int64_t usec);

}  // namespace zelk::text
