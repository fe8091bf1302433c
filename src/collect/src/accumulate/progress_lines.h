// Progress where lines stay: one for each quarter of what is expected, and one
// when a minute has gone without.
//
// For logs (--progress lines), which a line that is rewritten in place would
// fill with control characters. The meter is its sister for terminals.

#pragma once

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>

namespace zelk::accumulate {

class progress_lines {
 public:
  using clock = std::chrono::steady_clock;

  explicit progress_lines(clock::time_point now = clock::now())
      : told_at_(now) {}

  // What is to be written, without a line's end, when a line is due: `done` of
  // `total` results have come, and `text` says more. With a `total` of 0 nobody
  // knows how far it is, and there is none.
  std::optional<std::string> look(std::uint64_t done, std::uint64_t total,
                                  const std::string& text,
                                  clock::time_point now = clock::now());

 private:
  clock::time_point told_at_;
  std::uint64_t quarters_ = 0;  // that were told
};

}  // namespace zelk::accumulate
