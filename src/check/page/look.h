// The page's own style and script, as a policy hashes them.
//
// page.css and page.js are the sources; the build puts them into the program.
// The style begins with the colours of palette.h.

#pragma once

#include <string>
#include <string_view>

namespace zelk::check::html {

// Made by the build of page.css and page.js.
extern const std::string_view page_css;
extern const std::string_view page_js;

const std::string& page_style();
// Inside a comment that keeps an XML reader from seeing tags in it.
const std::string& page_script();

}  // namespace zelk::check::html
