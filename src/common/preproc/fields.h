// The values that stand in more than one of the files.
//
// The schemas have checked every value before; what is left to fail here is a
// notation of a number that a schema allows and 64 bits do not hold.

#pragma once

#include <cstdint>
#include <limits>
#include <map>
#include <optional>
#include <string>
#include <string_view>

#include "src/common/names/names.h"
#include "src/common/xml/library_types.h"

namespace zelk::preproc {

// Returns the text of `element` without white space around it; "" for null.
std::string text_of(const xmlNode* element);

// Returns what `names` gives for `name`.
template <typename Value>
Value named(const std::map<std::string, Value>& names, const std::string& name,
            Value otherwise) {
  const auto found = names.find(name);
  return found == names.end() ? otherwise : found->second;
}

// Returns the scale attribute of `element`, constant by default.
ScaleType scale_of(const xmlNode* element);

// Returns the number that `text` is, or nothing after one error record about
// element `at` of the file `path`.
std::optional<std::int64_t> number_between(std::string_view text,
                                           std::int64_t lowest,
                                           std::int64_t highest,
                                           const xmlNode& at,
                                           const std::string& path);

// Puts the number that `text` is into `value`, which keeps its default without
// a text. Returns false after one error record when it does not fit.
template <typename Integer>
bool read_number(const std::optional<std::string>& text, const xmlNode& at,
                 const std::string& path, Integer& value) {
  if (!text) return true;
  using limits = std::numeric_limits<Integer>;
  const auto number =
      number_between(*text, limits::min(), limits::max(), at, path);
  if (number) value = static_cast<Integer>(*number);
  return number.has_value();
}

}  // namespace zelk::preproc
