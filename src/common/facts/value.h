// The text of an output as a value of a declared type.

#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "src/common/facts/fact.h"

namespace zelk::facts {

// Returns `text` without the white space around it as a value, or nothing when
// it is no such value. Requires: `type` is not list.
//
//   integer   " +0042 "      42      decimal digits and a sign, 64 bits
//   number    "1.5e3"        1500    finite, with a point as separator
//   boolean   "Yes"          true    1 yes true on y enabled, and 0 no ...
//   text      " a  b "       "a  b"
std::optional<fact_value> value_of(value_type type, std::string_view text);

// Returns what a text of this type looks like, for a reason: "an integer".
std::string_view words_for(value_type type);

// Returns `text` without white space at its ends.
std::string_view trimmed(std::string_view text);

// Returns at most 60 bytes of `text`, "..." behind what was cut. No character
// is cut in two.
std::string excerpt(std::string_view text);

}  // namespace zelk::facts
