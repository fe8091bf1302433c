// Text of any length of which only the beginning and the end are kept.

#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace zelk::collect {

class bounded_text {
 public:
  // What is kept of each end, bytes: much for messages, little for a thousand
  // nodes.
  static constexpr std::size_t most_at_an_end = std::size_t{128} << 10;

  explicit bounded_text(std::size_t most = most_at_an_end) : most_(most) {}

  void append(std::string_view bytes);
  // Returns the text; where bytes are left out, a line between its two ends
  // says how many: "[... 1234 bytes left out ...]".
  std::string text() const;

 private:
  std::size_t most_;
  std::string head_;
  std::string tail_;          // may hold up to twice what is shown of it
  std::size_t left_out_ = 0;  // bytes that fell out of tail_
};

}  // namespace zelk::collect
