// Text for terminals, and eyes, that have nothing but ASCII.

#pragma once

#include <string>
#include <string_view>

namespace zelk::check {

// What our own texts and the units of facts have is written as is usual ("C",
// "us", "+-"); all else as "\u00e4". What stands in columns stays there: the
// blanks behind a longer or shorter text give way.
//
// Requires: `text` is UTF-8.
std::string ascii_text(std::string_view text);

}  // namespace zelk::check
