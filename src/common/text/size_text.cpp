#include "src/common/text/size_text.h"

#include <fmt/format.h>

#include <array>
#include <charconv>
#include <limits>

namespace zelk::text {

namespace {

char upper(char c) {
  return c >= 'a' && c <= 'z' ? static_cast<char>(c - 'a' + 'A') : c;
}

// The power of two that `unit` stands for.
std::optional<unsigned> shift_of(std::string_view unit) {
  if (unit.empty()) return 0;
  constexpr std::string_view letters = "KMGT";
  std::string word;
  for (const char c : unit)
    word += upper(c);
  if (word == "B") return 0;
  const std::size_t power = letters.find(word[0]);
  const std::string_view rest = std::string_view(word).substr(1);
  if (power == letters.npos || !(rest.empty() || rest == "B" || rest == "IB"))
    return {};
  return static_cast<unsigned>(10 * (power + 1));
}

}  // namespace

std::string size_text(std::int64_t bytes) {
  constexpr std::array units = {"KiB", "MiB", "GiB", "TiB", "PiB"};
  constexpr double step = 1024;
  if (bytes < 1024) return fmt::format("{} B", bytes);
  double value = static_cast<double>(bytes) / step;
  std::size_t unit = 0;
  for (; value >= step && unit + 1 < units.size(); ++unit)
    value /= step;
  return fmt::format("{:.1f} {}", value, units[unit]);
}

std::optional<std::int64_t> size_bytes(std::string_view text) {
  std::int64_t count = 0;
  const char* end = text.data() + text.size();
  const auto read = std::from_chars(text.data(), end, count);
  if (read.ec != std::errc() || count < 0 || text.front() == '-') return {};
  std::string_view unit(read.ptr, static_cast<std::size_t>(end - read.ptr));
  while (!unit.empty() && unit.front() == ' ')
    unit.remove_prefix(1);
  // Blanks belong in front of something.
  if (unit.empty() && read.ptr != end) return {};
  const std::optional<unsigned> shift = shift_of(unit);
  if (!shift || count > std::numeric_limits<std::int64_t>::max() >> *shift)
    return {};
  return count << *shift;
}

std::string counted(std::int64_t count, const std::string& what) {
  return fmt::format("{} {}{}", count, what, count == 1 ? "" : "s");
}

}  // namespace zelk::text
