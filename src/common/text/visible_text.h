// Text from nodes and files, made fit for a terminal.
//
// A host name, an output or a label may hold bytes that move the cursor, change
// what stands on the screen, or type for the user. Everything that the head
// node's programs say about such text goes through here.

#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace zelk::text {

// Returns `text` with what is not printable written out; one line always.
//
//   "node\x1b[2J"     node\x1b[2J      control characters
//   "a\nb\tc"         a\nb\tc          the usual three by their letters
//   "\xff"            \xff             bytes that are not UTF-8
//   U+202E, U+0085    \u202e \x85      that turn the line round or end it
//   "knoten-\xc3\xa4" as it is         all other UTF-8
std::string visible_text(std::string_view text);

// How many columns visible text takes: its characters.
std::size_t columns_of_text(std::string_view visible);

}  // namespace zelk::text
