#include "src/collect/src/accumulate/progress_lines.h"

#include <fmt/format.h>

#include <algorithm>

namespace zelk::accumulate {

namespace {

constexpr std::chrono::seconds longest_silence{60};

}  // namespace

std::optional<std::string> progress_lines::look(std::uint64_t done,
                                                std::uint64_t total,
                                                const std::string& text,
                                                clock::time_point now) {
  if (total == 0) return {};
  const std::uint64_t came = std::min(done, total);
  const std::uint64_t quarters = 4 * came / total;
  const bool silent = now - told_at_ >= longest_silence && came < total;
  // What is expected may grow: quarters that were reached are not told again.
  if (quarters <= quarters_ && !silent) return {};
  quarters_ = std::max(quarters, quarters_);
  told_at_ = now;
  return fmt::format("{:3}%  {}/{} results  {}", 100 * came / total, came,
                     total, text);
}

}  // namespace zelk::accumulate
