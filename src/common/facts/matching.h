// Expressions against texts. Inside this module only.

#pragma once

#include <re2/re2.h>
#include <re2/set.h>

#include <cstddef>
#include <memory>
#include <string_view>
#include <vector>

namespace zelk::facts {

// The most groups of one expression.
constexpr int most_groups = 16;

using groups = std::vector<std::string_view>;

// Runs `expression` over the whole of `text` and puts its first `count` groups
// into `found`, views into `text`. A group that took no part is empty.
bool match_groups(const RE2& expression, std::string_view text, int count,
                  groups& found);

// Returns group number `group`, or `all` for 0.
std::string_view group_or_all(const groups& found, int group,
                              std::string_view all);

// Which of many expressions match a whole text, in one pass over it.
class expression_set {
 public:
  // Null expressions match nothing. Requires: all are valid and outlive it.
  explicit expression_set(const std::vector<const RE2*>& expressions);

  // Puts the places of those that match into `found`, in order.
  void match(std::string_view text, std::vector<std::size_t>& found) const;

 private:
  std::vector<const RE2*> expressions_;
  std::vector<std::size_t> places_;  // of the set's own numbers
  std::unique_ptr<RE2::Set> set_;    // null: each is tried
};

}  // namespace zelk::facts
