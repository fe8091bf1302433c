// What stands in a document that has been validated.
//
// The schema has already said what may stand where, so a missing node here is
// the absence of something optional.

#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "src/common/xml/library_types.h"

namespace zelk::xml {

// Returns the elements `name` right under `parent`, in the order written. A
// null parent has none.
std::vector<const xmlNode*> children(const xmlNode* parent,
                                     std::string_view name);

// Returns the first of them, or null.
const xmlNode* child(const xmlNode* parent, std::string_view name);

const xmlNode* root(const xmlDoc& document);

// Returns the text of `element`, every byte of it; comments and processing
// instructions are no part of it.
std::string content(const xmlNode& element);

// Returns an attribute's value with white space as a schema's token has it:
// none at the ends, and one blank for each run of it inside.
std::optional<std::string> attribute(const xmlNode* element,
                                     const std::string& name);

// Returns the number that `text` is in a schema's notation: a sign of either
// kind is allowed, white space around it too. Nothing when it takes more than
// 64 bits.
std::optional<std::int64_t> whole_number(std::string_view text);

// The line of an element's start tag.
long line_of(const xmlNode& element);
void set_line(xmlNode& element, long line);

}  // namespace zelk::xml
