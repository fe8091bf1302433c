// Text as XML.

#pragma once

#include <string>
#include <string_view>

namespace zelk::check {

// `text` for content or an attribute in either quotes. Characters that XML 1.0
// has no way to write (controls, U+FFFE, U+FFFF) and bytes that are not UTF-8
// are written out as on a terminal, and so is what is invisible there; line
// ends and tabs too, which an attribute would lose.
std::string xml_text(std::string_view text);

}  // namespace zelk::check
