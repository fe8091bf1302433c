// The one form in which a file's faults are told.

#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace zelk::xml {

// What is wrong with a file, and where.
struct complaint {
  long line = 0;  // 0: the file as a whole
  std::string text;
};

// Logs "path:line: text" as one error record.
void complain(const std::string& path, const complaint& fault);

constexpr std::size_t value_bytes = 80;      // of a file's text in a complaint
constexpr std::size_t sentence_bytes = 240;  // of the library's own words

// Returns `text` fit for a line of a log: cut to at most `bytes` with "..."
// behind, and with each byte that would move the cursor as '?'.
std::string excerpt(std::string_view text, std::size_t bytes = value_bytes);

}  // namespace zelk::xml
