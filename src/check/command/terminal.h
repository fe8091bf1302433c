// What standard output is, and what it can show.

#pragma once

#include <cstddef>

#include "src/check/command/settings.h"

namespace zelk::check {

bool on_terminal();

// Columns; 0: it is no terminal, or does not say.
std::size_t terminal_width();
// Lines; 0 likewise.
std::size_t terminal_height();

// By --color, then NO_COLOR, CLICOLOR_FORCE and CLICOLOR, then by whether there
// is a terminal, which is not called "dumb".
bool wants_colour(color_use asked, bool terminal);

// By LC_ALL, else LC_CTYPE, else LANG.
bool locale_is_utf8();

}  // namespace zelk::check
