// Byte-string helpers shared by every module.
//
// Text here is bytes. Nothing looks at a locale or at UTF-8, and a zero byte is
// a byte like any other. Arguments are views and results are owned strings, so
// a result never points into its argument. Nothing here logs, and nothing
// throws unless memory runs out.
//
// <libgen.h> turns `basename` into a macro: no file that includes this header
// may include that one.

#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace zelk::str {

// Returns what follows the last slash of `path`, or all of it when it has none.
// Unlike basename(3), a trailing slash counts: the base of "a/" is "".
std::string basename(std::string_view path);

// Returns what precedes the last slash of `path`.
//
//   dirname("/opt/z/etc/zelk.xml")   "/opt/z/etc"
//   dirname("/zelk.xml")             "/"
//   dirname("zelk.xml")              "."   so that a caller may append "/name"
std::string dirname(std::string_view path);

// Returns `text` with a-z as A-Z. Bytes above 127 stay as they are.
std::string upper(std::string_view text);

// Returns `text` with every `token` replaced. The search goes on behind each
// replacement, so one that holds the token again is not replaced a second time.
// An empty token matches nowhere.
std::string replace(std::string_view text, std::string_view token,
                    std::string_view replacement);

// Returns the fields of `text` between separators, in order: always one more
// field than there are separators, so "" has one empty field. With `drop_empty`
// the empty fields are left out.
std::vector<std::string> split(std::string_view text, char separator,
                               bool drop_empty = false);

// Returns `text` without the bytes of `characters` at either end. An empty set
// stands for white space (blank, tab, line feed, carriage return, \v and \f).
std::string strip(std::string_view text, std::string_view characters = {});

}  // namespace zelk::str
