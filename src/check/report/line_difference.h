// Which lines two texts do not have in common.

#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace zelk::check {

struct line_difference {
  std::vector<std::string_view> removed, added;  // in their order
};

// The views point into `before` and `after`. As few lines as can be for texts
// of usual size; of very long ones all between the first and the last line that
// differ.
line_difference difference_of(std::string_view before, std::string_view after);

}  // namespace zelk::check
