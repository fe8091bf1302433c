#include "src/common/facts/extraction_cache.h"

#include <cstdint>
#include <utility>

namespace zelk::facts {

namespace {

// Some 150 bytes each. A run's results come provider by provider, so what is
// forgotten here would hardly be asked for again.
constexpr std::size_t most_facts_kept = 1'000'000;

}  // namespace

std::string extraction_cache::key_of(const declaration& by,
                                     std::string_view hash, int exit_status) {
  std::string key(hash);
  key.append(" ").append(std::to_string(exit_status)).append(" ");
  key += std::to_string(reinterpret_cast<std::uintptr_t>(&by));
  return key;
}

std::shared_ptr<const extraction> extraction_cache::keep(
    const std::string& key, const std::shared_ptr<const declaration>& by,
    extraction&& made) {
  ++reads_;
  auto kept = std::make_shared<const extraction>(std::move(made));
  facts_kept_ += kept->facts.size() + kept->unread.size();
  if (facts_kept_ > most_facts_kept) {
    kept_.clear();
    facts_kept_ = kept->facts.size() + kept->unread.size();
  }
  kept_[key] = {by, kept};
  return kept;
}

}  // namespace zelk::facts
