// The border between text of nodes and the page's own markup.
//
// Any bytes go in; what comes out is UTF-8 that has no meaning to a browser in
// its one place, and that an XML reader takes. What a reader could not see, or
// what would turn a line round, is made visible:
//
//   \x1b, \0, \x7f      U+241B, U+2400, U+2421    pictures of control
//   characters U+0085, U+202E      \x85, \u202e              C1, marks of
//   direction, no width \xff                U+FFFD                    bytes
//   that are not UTF-8 \n \t               as they are               in text
//   and attributes

#pragma once

#include <string>
#include <string_view>

namespace zelk::check::html {

// Between tags: & < > " ' become references.
void append_text(std::string& out, std::string_view text);

// Between the double quotes of an attribute; line ends and tabs too become
// references.
void append_attribute(std::string& out, std::string_view text);

// Inside <script type="application/json">. Requires: `json` is JSON.
//
// < > & and U+2028, U+2029 stand in JSON only inside its strings, where \u003c
// means the same; neither "</script>" nor "<!--" nor "]]>" is left.
void append_script_json(std::string& out, std::string_view json);

}  // namespace zelk::check::html
