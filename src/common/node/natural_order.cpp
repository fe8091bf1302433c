#include "src/common/node/natural_order.h"

#include <algorithm>
#include <cstddef>

namespace zelk::node {

namespace {

bool is_digit(char c) {
  return c >= '0' && c <= '9';
}

std::string_view digit_run(std::string_view text, std::size_t start) {
  const std::string_view rest = text.substr(start);
  return rest.substr(
      0,
      static_cast<std::size_t>(
          std::find_if_not(rest.begin(), rest.end(), is_digit) - rest.begin()));
}

std::string_view without_zeros(std::string_view digits) {
  digits.remove_prefix(std::min(digits.find_first_not_of('0'), digits.size()));
  return digits;
}

// Compares by value, 1 before 01.
bool number_before(std::string_view a, std::string_view b) {
  const std::string_view x = without_zeros(a);
  const std::string_view y = without_zeros(b);
  if (x.size() != y.size()) return x.size() < y.size();
  if (x != y) return x < y;
  return a.size() < b.size();
}

}  // namespace

bool natural_before(std::string_view a, std::string_view b) {
  const auto differ =
      std::mismatch(a.begin(), a.end(), b.begin(), b.end()).first;
  const auto at = static_cast<std::size_t>(differ - a.begin());
  std::size_t start = at;
  while (start > 0 && is_digit(a[start - 1]))
    --start;
  const std::string_view x = digit_run(a, start);
  const std::string_view y = digit_run(b, start);
  if (!x.empty() && !y.empty() && x != y) return number_before(x, y);
  return a.substr(at) < b.substr(at);
}

void sort_naturally(std::vector<std::string>& names) {
  if (!std::is_sorted(names.begin(), names.end(), natural_before))
    std::sort(names.begin(), names.end(), natural_before);
  names.erase(std::unique(names.begin(), names.end()), names.end());
}

}  // namespace zelk::node
