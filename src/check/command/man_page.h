// The manual of a program, also where there is no man(1).

#pragma once

#include <string>
#include <string_view>

namespace zelk::check {

// Shows the installed page of `program` with man(1), or else as plain text on
// standard output. Returns the exit status.
int show_man_page(const std::string& program);

// A page's source as text to read: headings, paragraphs, options and examples.
std::string plain_page(std::string_view source);

}  // namespace zelk::check
