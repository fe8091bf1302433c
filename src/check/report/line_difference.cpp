#include "src/check/report/line_difference.h"

#include <algorithm>
#include <cstdint>

namespace zelk::check {

namespace {

using lines = std::vector<std::string_view>;

// Cells of the table below; four bytes each.
constexpr std::size_t most_cells = 4'000'000;

// An empty text has no lines.
lines lines_of(std::string_view text) {
  lines result;
  while (!text.empty()) {
    const std::size_t end = std::min(text.find('\n'), text.size());
    result.push_back(text.substr(0, end));
    text.remove_prefix(std::min(end + 1, text.size()));
  }
  return result;
}

void cut_common_ends(lines& a, lines& b) {
  const auto [first_a, first_b] =
      std::mismatch(a.begin(), a.end(), b.begin(), b.end());
  a.erase(a.begin(), first_a);
  b.erase(b.begin(), first_b);
  while (!a.empty() && !b.empty() && a.back() == b.back()) {
    a.pop_back();
    b.pop_back();
  }
}

// How many lines the ends of `a` and `b` have in common in order, for all pairs
// of beginnings.
class common_lengths {
 public:
  common_lengths(const lines& a, const lines& b)
      : columns_(b.size() + 1), cells_((a.size() + 1) * columns_) {
    for (std::size_t i = a.size(); i-- > 0;)
      for (std::size_t j = b.size(); j-- > 0;)
        cell(i, j) = a[i] == b[j] ? cell(i + 1, j + 1) + 1
                                  : std::max(cell(i + 1, j), cell(i, j + 1));
  }

  std::uint32_t& cell(std::size_t i, std::size_t j) {
    return cells_[i * columns_ + j];
  }

 private:
  std::size_t columns_;
  std::vector<std::uint32_t> cells_;
};

line_difference least_difference(const lines& a, const lines& b) {
  common_lengths common(a, b);
  line_difference result;
  std::size_t i = 0, j = 0;
  while (i < a.size() && j < b.size()) {
    if (a[i] == b[j]) {
      ++i;
      ++j;
    } else if (common.cell(i + 1, j) >= common.cell(i, j + 1)) {
      result.removed.push_back(a[i++]);
    } else {
      result.added.push_back(b[j++]);
    }
  }
  result.removed.insert(result.removed.end(), a.begin() + std::ptrdiff_t(i),
                        a.end());
  result.added.insert(result.added.end(), b.begin() + std::ptrdiff_t(j),
                      b.end());
  return result;
}

}  // namespace

line_difference difference_of(std::string_view before, std::string_view after) {
  lines a = lines_of(before);
  lines b = lines_of(after);
  cut_common_ends(a, b);
  if (a.size() > most_cells / (b.size() + 1)) return {a, b};
  return least_difference(a, b);
}

}  // namespace zelk::check
