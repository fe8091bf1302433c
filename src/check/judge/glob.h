// Names against shell patterns: * is any text, ? one byte, the rest itself. No
// brackets: names of facts hold them ("cpu[0].state").

#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace zelk::check {

bool is_pattern(std::string_view text);

// Whether `pattern` stands for all of `text`. Time grows with the product of
// their lengths at most.
bool matches(std::string_view pattern, std::string_view text);

bool matches_any(const std::vector<std::string>& patterns,
                 std::string_view text);

}  // namespace zelk::check
