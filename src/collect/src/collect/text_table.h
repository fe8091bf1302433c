// Text for people: columns that line up, and values that stay on their line.

#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace zelk::collect {

// Returns the rows with blanks between their columns, wide enough for the
// longest value; the last column is not padded. No line ends in blanks.
std::string aligned(const std::vector<std::vector<std::string>>& rows,
                    std::string_view indent = "");

// Returns `text` with a blank for each run of white space and without the bytes
// that would move a terminal's cursor.
std::string one_line(std::string_view text);

std::string joined(const std::vector<std::string>& words,
                   std::string_view separator);

// Returns `path` relative to the folder `root` when it lies below it.
std::string below(const std::string& root, const std::string& path);

}  // namespace zelk::collect
