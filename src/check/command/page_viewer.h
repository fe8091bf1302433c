// --open: the program that shows a page on this machine's screen, xdg-open(1).
//
// It is started without a shell, by its name on PATH, with the file as its only
// word, and outlives us: it may be the browser itself. Nothing is logged.

#pragma once

#include <chrono>
#include <string>

namespace zelk::check {

// Returns why nobody sees the page now, or "": there is no screen, no such
// program, or it ended with a fault within `patience`.
std::string open_page(const std::string& path,
                      std::chrono::milliseconds patience);

}  // namespace zelk::check
