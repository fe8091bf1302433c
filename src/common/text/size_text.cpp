#include "src/common/text/size_text.h"

#include <fmt/format.h>

#include <array>

namespace zelk::text {

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

std::string counted(std::int64_t count, const std::string& what) {
  return fmt::format("{} {}{}", count, what, count == 1 ? "" : "s");
}

}  // namespace zelk::text
