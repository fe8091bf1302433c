#include "src/common/text/time_text.h"

#include <fmt/format.h>

#include <charconv>
#include <chrono>
#include <ctime>

namespace zelk::text {

namespace {

constexpr std::int64_t minute = 60;  // seconds, as the next three
constexpr std::int64_t hour = 60 * minute;
constexpr std::int64_t day = 24 * hour;
constexpr std::int64_t week = 7 * day;
// Far more than any datastore's age, far less than what 64 bits hold.
constexpr std::int64_t longest = day * 366 * 1000;

std::int64_t unit_of(char letter) {
  switch (letter) {
    case 's':
      return 1;
    case 'm':
      return minute;
    case 'h':
      return hour;
    case 'd':
      return day;
    case 'w':
      return week;
    default:
      return 0;
  }
}

std::int64_t usec_of_local(std::tm when) {
  when.tm_isdst = -1;
  return static_cast<std::int64_t>(std::mktime(&when)) * usec_per_sec;
}

std::optional<time_span> read_day(std::string_view text) {
  const std::string digits(text);
  std::tm when = {};
  const char* stop = ::strptime(digits.c_str(), "%Y-%m-%d", &when);
  if (text.size() != 10 || stop == nullptr || *stop != '\0') return {};
  std::tm next = when;
  next.tm_mday += 1;
  return time_span{usec_of_local(when), usec_of_local(next)};
}

std::string formatted(const std::tm& when, const char* format) {
  char text[64];
  return {text, std::strftime(text, sizeof text, format, &when)};
}

std::time_t seconds_of(std::int64_t usec) {
  return static_cast<std::time_t>(usec / usec_per_sec -
                                  (usec % usec_per_sec < 0 ? 1 : 0));
}

}  // namespace

std::int64_t now_usec() {
  using namespace std::chrono;
  return duration_cast<microseconds>(system_clock::now().time_since_epoch())
      .count();
}

std::optional<std::int64_t> duration_usec(std::string_view text) {
  if (text.empty()) return {};
  std::int64_t total = 0;
  while (!text.empty()) {
    std::int64_t count = -1;
    const char* end = text.data() + text.size();
    const auto [stop, error] = std::from_chars(text.data(), end, count);
    if (error != std::errc() || stop == end || count < 0) return {};
    const std::int64_t unit = unit_of(*stop);
    if (unit == 0 || count > longest / unit) return {};
    total += count * unit;
    if (total > longest) return {};
    text.remove_prefix(static_cast<std::size_t>(stop - text.data()) + 1);
  }
  return total * usec_per_sec;
}

std::optional<time_span> read_time(std::string_view text,
                                   std::int64_t present_usec) {
  constexpr std::string_view before = "now-";
  if (text == "now") return time_span{present_usec, present_usec};
  if (!text.starts_with(before)) return read_day(text);
  const std::optional<std::int64_t> age =
      duration_usec(text.substr(before.size()));
  if (!age) return {};
  return time_span{present_usec - *age, present_usec - *age};
}

std::string local_time(std::int64_t usec, bool seconds) {
  const std::time_t when = seconds_of(usec);
  std::tm parts = {};
  if (::localtime_r(&when, &parts) == nullptr) return "?";
  return formatted(parts, seconds ? "%Y-%m-%d %H:%M:%S" : "%Y-%m-%d %H:%M");
}

std::string utc_time(std::int64_t usec) {
  const std::time_t when = seconds_of(usec);
  std::tm parts = {};
  if (::gmtime_r(&when, &parts) == nullptr) return "?";
  return formatted(parts, "%Y-%m-%dT%H:%M:%SZ");
}

std::string short_duration(std::int64_t usec) {
  const std::int64_t seconds = usec / usec_per_sec;
  if (seconds < 10)
    return fmt::format("{:.1f}s", static_cast<double>(usec) /
                                      static_cast<double>(usec_per_sec));
  if (seconds < minute) return fmt::format("{}s", seconds);
  if (seconds < hour)
    return fmt::format("{}m{:02}s", seconds / minute, seconds % minute);
  if (seconds < day)
    return fmt::format("{}h{:02}m", seconds / hour, seconds % hour / minute);
  return fmt::format("{}d{:02}h", seconds / day, seconds % day / hour);
}

}  // namespace zelk::text
