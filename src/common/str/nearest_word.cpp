#include "src/common/str/nearest_word.h"

#include <algorithm>
#include <cstddef>

namespace zelk::str {

namespace {

// The changes between two words; swapped neighbours are one change.
std::size_t distance(std::string_view a, std::string_view b) {
  std::vector<std::size_t> before, above(b.size() + 1), row(b.size() + 1);
  for (std::size_t j = 0; j <= b.size(); ++j)
    above[j] = j;
  for (std::size_t i = 1; i <= a.size(); ++i) {
    row[0] = i;
    for (std::size_t j = 1; j <= b.size(); ++j) {
      row[j] = std::min({above[j] + 1, row[j - 1] + 1,
                         above[j - 1] + (a[i - 1] == b[j - 1] ? 0U : 1U)});
      if (i > 1 && j > 1 && a[i - 1] == b[j - 2] && a[i - 2] == b[j - 1])
        row[j] = std::min(row[j], before[j - 2] + 1);
    }
    before = above;
    above = row;
  }
  return above[b.size()];
}

// Words as long as a mistyped option; more is no mistyping.
constexpr std::size_t longest_word = 64;

}  // namespace

std::string nearest_word(std::string_view word,
                         const std::vector<std::string>& known) {
  if (word.size() > longest_word) return "";
  std::size_t least = std::max<std::size_t>(1, word.size() / 3) + 1;
  std::string best;
  for (const std::string& one : known) {
    const std::size_t changes = distance(word, one);
    if (changes >= least) continue;
    least = changes;
    best = one;
  }
  return best;
}

std::string did_you_mean(std::string_view word,
                         const std::vector<std::string>& known) {
  const std::string nearest = nearest_word(word, known);
  return nearest.empty() ? "" : "; did you mean '" + nearest + "'?";
}

}  // namespace zelk::str
