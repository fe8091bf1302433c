#include "src/check/judge/allowance.h"

#include <algorithm>

#include "src/check/judge/comparison.h"
#include "src/check/judge/glob.h"

namespace zelk::check {

namespace {

constexpr char no_value_at_all[] = "none";  // as a definition writes it

compared way_of(const column_checks& checks, const fact_column& fact) {
  const auto has = [&](rule kind) {
    return std::any_of(
        checks.named.begin(), checks.named.end(),
        [kind](const auto* each) { return each->what.kind == kind; });
  };
  if (has(rule::peers)) return compared::as_numbers;
  if (has(rule::differs)) return compared::as_text;
  if (!checks.generic) return compared::never;
  if (fact.traits.compare == facts::comparison::equal) return compared::as_text;
  return fact.traits.compare == facts::comparison::outlier
             ? compared::as_numbers
             : compared::never;
}

// The strictest of the checks decides: what one of them tells is told.
void take_least(allowance& to, const check_rule& of, bool is_first) {
  if (is_first) {
    to.percent = of.min_effect;
    to.ignored = of.ignored;
    return;
  }
  to.percent = to.percent && of.min_effect
                   ? std::optional(std::min(*to.percent, *of.min_effect))
                   : std::nullopt;
  std::erase_if(to.ignored, [&](const std::string& each) {
    return std::find(of.ignored.begin(), of.ignored.end(), each) ==
           of.ignored.end();
  });
}

}  // namespace

bool allowance::lets_pass(std::optional<std::string_view> value,
                          std::optional<std::string_view> reference) const {
  for (const auto& each : {value, reference})
    if (matches_any(ignored, std::string(each.value_or(no_value_at_all))))
      return true;
  return percent && value && reference &&
         are_close(*value, *reference, *percent);
}

allowance allowances::of(const fact_column& fact) {
  column_view column;
  column.fact = &fact;
  const column_checks checks = plan_.for_column(column);
  allowance result;
  result.how = way_of(checks, fact);
  bool is_first = true;
  for (const check_definition* each : checks.named)
    if (each->what.kind == rule::differs) {
      take_least(result, each->what, is_first);
      is_first = false;
    }
  return result;
}

}  // namespace zelk::check
