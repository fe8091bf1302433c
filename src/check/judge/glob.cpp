#include "src/check/judge/glob.h"

#include <algorithm>
#include <cstddef>

namespace zelk::check {

bool is_pattern(std::string_view text) {
  return text.find_first_of("*?") != text.npos;
}

bool matches(std::string_view pattern, std::string_view text) {
  std::size_t p = 0, t = 0;
  std::size_t star = pattern.npos, after = 0;  // where to go on from
  while (t < text.size()) {
    if (p < pattern.size() && pattern[p] == '*') {
      star = p++;
      after = t;
    } else if (p < pattern.size() &&
               (pattern[p] == '?' || pattern[p] == text[t])) {
      ++p;
      ++t;
    } else if (star != pattern.npos) {
      p = star + 1;
      t = ++after;
    } else {
      return false;
    }
  }
  return pattern.find_first_not_of('*', p) == pattern.npos;
}

bool matches_any(const std::vector<std::string>& patterns,
                 std::string_view text) {
  return std::any_of(patterns.begin(), patterns.end(),
                     [text](const auto& each) { return matches(each, text); });
}

}  // namespace zelk::check
