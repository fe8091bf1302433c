// Validation of a document against a schema file.

#pragma once

#include <string>

#include "src/common/xml/library_types.h"

namespace zelk::xml {

// Returns whether `document`, which was read from `path`, is valid against the
// schema file `schema`; otherwise there was one error record, about the first
// line at fault or about the schema file itself.
bool validate(xmlDoc& document, const std::string& path,
              const std::string& schema);

}  // namespace zelk::xml
