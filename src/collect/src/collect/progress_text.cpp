#include "src/collect/src/collect/progress_text.h"

#include <fmt/format.h>

#include <algorithm>
#include <cstdint>

namespace zelk::collect {

namespace {

constexpr std::size_t meter_cells = 24;
constexpr double between_lines = 60;  // seconds
constexpr std::size_t quarters = 4;
// Silence that is worth a word; anything quicker would only flicker.
constexpr double noticeable = 3;  // seconds

// Rounded, but 100 means all.
std::size_t percent(const progress_facts& facts) {
  if (facts.received >= facts.expected) return 100;
  return std::min<std::size_t>(
      99, (facts.received * 200 + facts.expected) / (2 * facts.expected));
}

std::string clock_text(double seconds) {
  const auto whole = static_cast<std::int64_t>(seconds);
  if (whole < 3600) return fmt::format("{:02}:{:02}", whole / 60, whole % 60);
  return fmt::format("{}:{:02}:{:02}", whole / 3600, whole % 3600 / 60,
                     whole % 60);
}

std::string waiting_text(const progress_facts& facts) {
  if (!facts.waiting || facts.waiting->since.count() < noticeable) return "";
  return fmt::format("  waiting: {} {} {:.0f}s", facts.waiting->node,
                     facts.waiting->provider, facts.waiting->since.count());
}

}  // namespace

std::string meter_text(const progress_facts& facts) {
  const std::size_t done = percent(facts);
  const std::size_t filled = (done * meter_cells + 50) / 100;
  return fmt::format(
      " [{}{}] {:3}%  {}/{} results  {}/{} nodes answering  {}{}",
      std::string(filled, '#'), std::string(meter_cells - filled, '-'), done,
      facts.received, facts.expected, facts.answering, facts.nodes,
      clock_text(facts.seconds), waiting_text(facts));
}

std::string plain_text(const progress_facts& facts) {
  return fmt::format("zelk-collect: {}% {}/{} results, {}/{} nodes, {:.0f} s",
                     percent(facts), facts.received, facts.expected,
                     facts.answering, facts.nodes, facts.seconds);
}

bool line_schedule::due(const progress_facts& facts) {
  if (facts.expected == 0) return false;
  const std::size_t quarter = facts.received * quarters / facts.expected;
  if (quarter <= quarter_told_) return false;
  if (facts.seconds - told_at_ < between_lines) return false;
  quarter_told_ = quarter;
  told_at_ = facts.seconds;
  return true;
}

}  // namespace zelk::collect
