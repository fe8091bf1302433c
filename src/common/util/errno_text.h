// The words for an errno value, in the one form that all messages share.

#pragma once

#include <string>

namespace zelk::util {

// Returns "(" + `code` in decimal + "): " + strerror(3)'s text, such as
// "(13): Permission denied". Take errno into a variable first: anything may
// change it, the building of a message too.
std::string errno_text(int code);

}  // namespace zelk::util
