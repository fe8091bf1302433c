// What a schema expected, in words for the person who wrote the file.

#pragma once

#include <string>
#include <string_view>

#include "src/common/xml/library_types.h"

namespace zelk::xml {

// Returns the line of the node that `error` is about.
long line_of_error(const xmlError& error);

// Returns what was expected where the validation error `error` was found, by
// the schema in `schema`.
std::string words_for(const xmlError& error, const xmlDoc& schema);

// Returns the first line of the library's own message.
std::string_view first_words(const xmlError& error);

}  // namespace zelk::xml
