#include "src/common/facts/line_memory.h"

#include <algorithm>
#include <functional>
#include <utility>

namespace zelk::facts {

namespace {

// The largest outputs have some thousand lines, in a handful of variants.
constexpr std::size_t fewest_buckets = 32;
constexpr std::size_t most_buckets = 8192;

// For lines that came once: those of a few outputs find room.
constexpr std::size_t places_seen_once = 32'768;

// Longer lines are rare, and read each time.
constexpr std::size_t longest_kept = 4096;  // bytes

constexpr unsigned high_half = 32;

}  // namespace

const given_line* line_memory::find(std::string_view line) {
  hash_ = std::max<std::size_t>(std::hash<std::string_view>()(line), 1);
  if (buckets_.empty()) return nullptr;
  const std::size_t at = hash_ & (buckets_.size() - 1);
  for (std::size_t way = 0; way < ways; ++way) {
    if (buckets_[at].hashes[way] != hash_) continue;
    const kept_line& known = kept_[at * ways + way];
    if (known.line == line) return &known.gave;
  }
  return nullptr;
}

// A free place of its bucket; else one that it takes over.
std::size_t line_memory::place_for(std::size_t hash) {
  const std::size_t at = hash & (buckets_.size() - 1);
  const auto& hashes = buckets_[at].hashes;
  const auto free = std::find(hashes.begin(), hashes.end(), std::size_t{0});
  const std::size_t way = free != hashes.end()
                              ? static_cast<std::size_t>(free - hashes.begin())
                              : (hash >> high_half) % ways;
  if (free != hashes.end()) ++used_;
  buckets_[at].hashes[way] = hash;
  return at * ways + way;
}

// A line has two places for its mark. Were there one, two lines that share it
// would wipe out each other's for ever.
bool line_memory::came_before() {
  seen_once_.resize(places_seen_once);
  const auto mark = static_cast<std::uint32_t>(hash_ >> high_half) | 1U;
  std::uint32_t& first = seen_once_[hash_ % places_seen_once];
  std::uint32_t& second =
      seen_once_[(hash_ / places_seen_once) % places_seen_once];
  if (first == mark || second == mark) return true;
  use_first_ = !use_first_;
  (use_first_ ? first : second) = mark;
  return false;
}

void line_memory::remember(std::string_view line, const given_line& gave) {
  if (line.size() > longest_kept) return;
  if (!came_before()) return;
  if (used_ * 2 >= kept_.size()) grow();
  kept_line& to = kept_[place_for(hash_)];
  to.line = line;
  to.gave = gave;
}

void line_memory::grow() {
  if (buckets_.size() >= most_buckets) return;
  const std::size_t count = std::max(fewest_buckets, buckets_.size() * 2);
  const std::vector<bucket> old =
      std::exchange(buckets_, std::vector<bucket>(count));
  std::vector<kept_line> moved =
      std::exchange(kept_, std::vector<kept_line>(count * ways));
  used_ = 0;
  for (std::size_t i = 0; i < moved.size(); ++i)
    if (const std::size_t hash = old[i / ways].hashes[i % ways])
      kept_[place_for(hash)] = std::move(moved[i]);
}

}  // namespace zelk::facts
