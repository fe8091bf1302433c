#include "src/common/facts/matching.h"

#include <algorithm>
#include <array>

namespace zelk::facts {

bool match_groups(const RE2& expression, std::string_view text, int count,
                  groups& found) {
  std::array<re2::StringPiece, most_groups + 1> pieces;
  const re2::StringPiece all(text.data(), text.size());
  if (!expression.Match(all, 0, text.size(), RE2::ANCHOR_BOTH, pieces.data(),
                        count + 1))
    return false;
  found.clear();
  for (std::size_t i = 1; i <= static_cast<std::size_t>(count); ++i)
    found.emplace_back(
        pieces[i].data() == nullptr
            ? std::string_view()
            : std::string_view(pieces[i].data(), pieces[i].size()));
  return true;
}

std::string_view group_or_all(const groups& found, int group,
                              std::string_view all) {
  return group == 0 ? all : found[static_cast<std::size_t>(group) - 1];
}

expression_set::expression_set(const std::vector<const RE2*>& expressions)
    : expressions_(expressions) {
  RE2::Options options;
  options.set_log_errors(false);
  auto set = std::make_unique<RE2::Set>(options, RE2::ANCHOR_BOTH);
  bool whole = true;
  for (std::size_t i = 0; i < expressions.size(); ++i)
    if (expressions[i] != nullptr) {
      whole = set->Add(expressions[i]->pattern(), nullptr) >= 0 && whole;
      places_.push_back(i);
    }
  if (whole && set->Compile()) set_ = std::move(set);
}

void expression_set::match(std::string_view text,
                           std::vector<std::size_t>& found) const {
  found.clear();
  if (places_.empty()) return;
  const re2::StringPiece piece(text.data(), text.size());
  std::vector<int> numbers;
  RE2::Set::ErrorInfo error{RE2::Set::kNoError};
  if (set_ && (set_->Match(piece, &numbers, &error) ||
               error.kind == RE2::Set::kNoError)) {
    std::sort(numbers.begin(), numbers.end());
    for (const int number : numbers)
      found.push_back(places_[static_cast<std::size_t>(number)]);
    return;
  }
  // The set's memory did not suffice for this text.
  for (const std::size_t place : places_)
    if (RE2::FullMatch(piece, *expressions_[place])) found.push_back(place);
}

}  // namespace zelk::facts
