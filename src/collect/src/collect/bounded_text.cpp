#include "src/collect/src/collect/bounded_text.h"

#include <algorithm>

namespace zelk::collect {

void bounded_text::append(std::string_view bytes) {
  const std::size_t taken = std::min(most_ - head_.size(), bytes.size());
  head_ += bytes.substr(0, taken);
  bytes.remove_prefix(taken);
  if (bytes.empty()) return;

  // What could never be shown is not copied at all.
  if (bytes.size() > most_) {
    left_out_ += tail_.size() + bytes.size() - most_;
    tail_.clear();
    bytes.remove_prefix(bytes.size() - most_);
  }
  tail_ += bytes;
  if (tail_.size() <= 2 * most_) return;
  left_out_ += tail_.size() - most_;
  tail_.erase(0, tail_.size() - most_);
}

std::string bounded_text::text() const {
  const std::size_t shown = std::min(tail_.size(), most_);
  const std::size_t left_out = left_out_ + tail_.size() - shown;
  if (left_out == 0) return head_ + tail_;
  return head_ + "\n[... " + std::to_string(left_out) +
         " bytes left out ...]\n" + tail_.substr(tail_.size() - shown);
}

}  // namespace zelk::collect
