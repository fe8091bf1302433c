// What stands where on a terminal: widths, colours, marks.

#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "src/check/judgement.h"

namespace zelk::check {

// How many columns visible text takes: two for what East Asian scripts and
// pictures take, none for marks that stand on the letter before.
std::size_t display_width(std::string_view visible);

// `visible` with blanks behind it up to `width` columns.
std::string padded(std::string visible, std::size_t width);

// `visible` in lines of at most `width` columns, parted at blanks or behind
// commas where there are some. A width of 0 is no limit.
std::vector<std::string> wrapped(std::string_view visible, std::size_t width);

enum class ink : std::uint8_t { plain, strong, good, note, warn, bad, faint };

// How things are marked. Colour repeats what a word or a mark says already.
struct look {
  bool colour = false;
  bool utf8 = false;

  std::string painted(ink which, const std::string& text) const;
  const char* mark(severity level) const;  // "X" "!" "i"
  const char* plus_minus() const { return utf8 ? "\u00b1" : "+-"; }
  const char* arrow() const { return utf8 ? "\u2192" : "->"; }
};

ink ink_of(severity level);
ink ink_of(verdict what);

}  // namespace zelk::check
