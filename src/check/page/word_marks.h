// Which words of a text are not those of another.

#pragma once

#include <string_view>
#include <vector>

namespace zelk::check::html {

struct marked_words {
  std::string_view text;  // part of `of`
  bool differs = false;
};

// Cuts `of` into pieces that are in `other` too and pieces that are not. The
// pieces together are `of`. Words are runs of letters, digits, "." and "_"; all
// else stands alone. Very long texts are compared at both ends only.
//
//   "a=1 b=2"  against  "a=1 b=3"     "a=1 b=" "2"!
std::vector<marked_words> word_marks(std::string_view of,
                                     std::string_view other);

}  // namespace zelk::check::html
