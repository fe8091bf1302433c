// XML files that are valid against a schema, or an error record that says why
// they are not.
//
// A file is UTF-8 text, at most 4 MiB long and 64 elements deep, without a
// document type declaration. So there are no entities to expand or to fetch,
// and nothing is ever read but the file and its schema.

#pragma once

#include <string>

#include "src/common/xml/library_types.h"

namespace zelk::xml {

// Reads `path` and validates it against the schema file `schema`. On success
// `document` is the caller's, to be freed with xmlFreeDoc(). On failure there
// was one error record, "file:line: what was expected", and `document` is null.
// The record names the first line at fault, and no line when the file could not
// be read at all.
bool open_and_validate(const std::string& path, const std::string& schema,
                       xmlDoc*& document);

}  // namespace zelk::xml
