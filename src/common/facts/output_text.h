// A provider's output as lines that are safe to match: of bounded length, and
// valid UTF-8.

#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace zelk::facts {

// No line of a provider is near it, and an expression's time grows with it.
constexpr std::size_t longest_line = std::size_t{64} * 1024;  // bytes

// The most that is read of one output: what the datastore takes by default.
constexpr std::size_t longest_output = std::size_t{64} << 20;  // bytes

// Returns whether `text` is UTF-8: no overlong forms, no surrogates, nothing
// above U+10FFFF.
bool is_utf8(std::string_view text);

// Returns `text`, with each byte that is not UTF-8 as U+FFFD. What was changed
// lies in `buffer`; nothing is copied when nothing had to be.
std::string_view repaired(std::string_view text, std::string& buffer);

// The lines of an output, one after the other.
class line_reader {
 public:
  explicit line_reader(std::string_view output);

  // Puts the next line into `line`, without its end (a newline, or a carriage
  // return and a newline), and returns whether there was one. It is valid until
  // the next call. Lines over the longest are passed over.
  bool next(std::string_view& line);

  std::size_t passed_over() const { return passed_over_; }
  bool cut() const { return cut_; }

 private:
  std::string_view rest_;
  std::string buffer_;
  std::size_t passed_over_ = 0;
  bool cut_;
};

}  // namespace zelk::facts
