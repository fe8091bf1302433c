// "Did you mean": the nearest of the words that would have been understood.

#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace zelk::str {

// Returns the one of `known` that needs the fewest single changes to become
// `word` (a byte added, removed or replaced, two neighbours swapped), or ""
// when the nearest is another word altogether.
//
//   ("--fanuot", {"--fanout"})       "--fanout"
//   ("memroy", {"memory", "mount"})  "memory"
//   ("frobnicate", {"memory"})       ""
std::string nearest_word(std::string_view word,
                         const std::vector<std::string>& known);

// Returns "; did you mean 'X'?" for the nearest word, or "".
std::string did_you_mean(std::string_view word,
                         const std::vector<std::string>& known);

}  // namespace zelk::str
