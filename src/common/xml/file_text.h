// A file's whole content, within bounds.

#pragma once

#include <cstddef>
#include <string>

namespace zelk::xml {

// A configuration with a thousand option sets has some 200 KiB. Parsed, a file
// takes up to thirty times its size, and a node has little to spare.
constexpr std::size_t largest_file_bytes = std::size_t{4} * 1024 * 1024;

// Reads the regular file `path` into `content`. Returns "", or why it cannot be
// read. Never waits: a pipe or a terminal is refused.
std::string read_file_text(const std::string& path, std::string& content);

}  // namespace zelk::xml
