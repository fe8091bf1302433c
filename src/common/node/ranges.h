// Bracketed ranges of node names to the names that they stand for.
//
//   node[01-03,20]        node01 node02 node03 node20    padding is kept
//   gpu[1-2]n[1-2]        gpu1n1 gpu1n2 gpu2n1 gpu2n2    right-most fastest
//   node[08-100]          node08 ... node99 node100      as wide as the first
//   login                 login
//   node[1-010]           no names: is it node1 or node001?
//   node[3-1]  node[1-    no names
//
// Nothing else is notation: no steps, no wildcards, no set operators. Names are
// bytes, but hold no blank, control character, bracket or comma. Nothing here
// logs, and a text that is refused takes no more memory than itself.

#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace zelk::node {

constexpr std::size_t most_names = 1'048'576;  // 2^20, of one file or text
inline constexpr char too_many_names[] =
    "expected at most 1048576 names in all";

// What expansions may still make; one budget serves all entries of a file. A
// slip of the finger (node[1-100000000]) must not take the machine's memory.
struct range_budget {
  std::size_t names = most_names;
  std::size_t bytes = std::size_t{256} << 20;  // a host name has at most 255
};

// The names, or else what was expected and not found.
struct expansion {
  std::vector<std::string> names;
  std::string problem;  // empty when the text was understood
};

// Expands one name or range in order, repeats kept. What it makes from brackets
// is taken off `budget`; a plain name is free.
expansion expand_entry(std::string_view entry, range_budget& budget);

// Expands entries joined by commas, as TokenizedHost writes them. The empty
// text stands for no names.
expansion expand_list(std::string_view list, range_budget& budget);

// The bytes of names: all but the notation's, blanks and control characters. An
// object, not a function, so that searches for a byte take it in.
inline constexpr auto is_name_byte = [](char c) {
  const auto byte = static_cast<unsigned char>(c);
  return byte > ' ' && byte != 0x7f && c != '[' && c != ']' && c != ',';
};

// Tells whether `name` can stand in a range text for itself.
bool is_plain_name(std::string_view name);

}  // namespace zelk::node
