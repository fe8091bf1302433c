#include "src/collect/src/accumulate/printable.h"

#include <algorithm>

namespace zelk::accumulate {

std::string printable(std::string_view text, std::size_t most) {
  std::string result(text.substr(0, most));
  std::replace_if(
      result.begin(), result.end(), [](char c) { return c < ' ' || c > '~'; },
      '?');
  return result;
}

}  // namespace zelk::accumulate
