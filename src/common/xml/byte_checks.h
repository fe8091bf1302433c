// What is wrong with a file before a parser sees it.

#pragma once

#include <optional>
#include <string_view>

#include "src/common/xml/complaint.h"

namespace zelk::xml {

// Returns the first of: no bytes at all, a zero byte (as in UTF-16), a start
// tag of more than 8 KiB. Nothing when a parser may be given `content`.
std::optional<complaint> fault_of_bytes(std::string_view content);

}  // namespace zelk::xml
