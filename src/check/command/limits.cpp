#include "src/check/command/limits.h"

#include <fmt/format.h>

#include <algorithm>
#include <charconv>
#include <iostream>
#include <optional>
#include <string_view>
#include <system_error>

#include "src/check/command/option_values.h"
#include "src/check/judge/glob.h"
#include "src/check/report/phrases.h"
#include "src/collect/src/reading/failure.h"
#include "src/common/facts/units.h"
#include "src/common/str/nearest_word.h"

namespace zelk::check {

namespace {

// A range with the unit behind each of its numbers taken out.
struct typed_range {
  std::string numbers;
  std::string unit;  // "": as the fact has it
};

struct typed_limit {
  std::string metric;
  typed_range range;
};

bool is_mark(char c) {
  return c == '@' || c == '~' || c == ':';
}

// The number at the front of `text`, with its sign; "" when there is none.
std::string_view number_in_front(std::string_view text) {
  double value = 0;
  const std::size_t sign = text.starts_with('+') ? 1 : 0;
  const auto [stop, error] =
      std::from_chars(text.data() + sign, text.data() + text.size(), value);
  if (error != std::errc()) return {};
  return text.substr(0, static_cast<std::size_t>(stop - text.data()));
}

// The unit at the front of `text`, up to the next mark.
std::string_view unit_in_front(std::string_view text) {
  const auto end = std::find_if(text.begin(), text.end(), is_mark);
  return text.substr(0, static_cast<std::size_t>(end - text.begin()));
}

std::string without_blanks(std::string_view text) {
  std::string result(text);
  std::erase(result, ' ');
  return result;
}

typed_range take_units_out(std::string_view text) {
  typed_range result;
  while (!text.empty()) {
    if (is_mark(text.front())) {
      result.numbers += text.front();
      text.remove_prefix(1);
      continue;
    }
    const std::string_view number = number_in_front(text);
    text.remove_prefix(number.size());
    result.numbers += number;
    const std::string_view behind = unit_in_front(text);
    text.remove_prefix(behind.size());
    const std::string unit = without_blanks(behind);
    // What is no number with a unit is left for the range to refuse.
    if (unit.empty()) continue;
    if (number.empty() || !facts::unit_of(unit)) {
      result.numbers += behind;
      continue;
    }
    if (!result.unit.empty() && result.unit != unit)
      throw usage_mistake("--limit: expected one unit for both ends; found '" +
                          result.unit + "' and '" + unit + "'");
    result.unit = unit;
  }
  return result;
}

typed_limit parts_of(const std::string& text) {
  const std::size_t equals = text.rfind('=');
  if (equals == text.npos || equals == 0)
    throw usage_mistake(
        "--limit: expected METRIC=RANGE, as in clock.offset=~:1");
  return {text.substr(0, equals), take_units_out(text.substr(equals + 1))};
}

bool is_number(const fact_column& fact) {
  return fact.traits.type == facts::value_type::integer ||
         fact.traits.type == facts::value_type::number;
}

std::string own_unit(const fact_column& fact) {
  return fact.traits.unit.empty() || fact.traits.unit == "count"
             ? "no unit"
             : "the unit " + fact.traits.unit;
}

// What a number of the limit is to be multiplied by.
double factor_for(const typed_limit& limit, const fact_column& fact) {
  const auto typed = facts::unit_of(limit.range.unit);
  const auto stored = facts::unit_of(fact.traits.unit);
  if (!stored || typed->dimension != stored->dimension)
    throw reading::refusal("--limit: " + fact.name + " has " + own_unit(fact) +
                           "; '" + limit.range.unit + "' is another thing");
  return typed->factor / stored->factor;
}

metric_limit limit_for(const typed_limit& limit, const range& allowed,
                       const fact_column& fact, const std::string& text) {
  metric_limit made{fact.name, allowed, text};
  if (limit.range.unit.empty()) return made;
  const double factor = factor_for(limit, fact);
  made.allowed.start *= factor;
  made.allowed.end *= factor;
  return made;
}

void add_limits(const std::string& text, const run_data& run,
                std::vector<metric_limit>& to) {
  const metric_limit typed = read_typed_limit(text);
  const typed_limit parts = parts_of(text);
  std::vector<std::string> known, no_numbers;
  std::vector<metric_limit> found;
  for (const fact_column& fact : run.facts) {
    known.push_back(fact.name);
    if (!matches(parts.metric, fact.name)) continue;
    if (!is_number(fact))
      no_numbers.push_back(fact.name);
    else if (found.empty() || found.back().metric != fact.name)
      found.push_back(limit_for(parts, typed.allowed, fact, text));
  }
  if (found.empty() && !no_numbers.empty())
    throw reading::refusal("--limit: '" + no_numbers.front() +
                           "' is no number; a limit needs one");
  if (found.empty())
    throw reading::refusal("--limit: the run has no fact '" + parts.metric +
                           "'" + str::did_you_mean(parts.metric, known));
  to.insert(to.end(), found.begin(), found.end());
}

// Those that have no value of a fact under any of its providers.
std::vector<std::string> nodes_without(const std::string& fact,
                                       const run_data& run) {
  std::vector<std::string> without;
  for (std::size_t node = 0; node < run.nodes.size(); ++node)
    if (std::none_of(
            run.facts.begin(), run.facts.end(), [&](const fact_column& each) {
              return each.name == fact && each.values[node] != no_value;
            }))
      without.push_back(run.nodes[node]);
  return without;
}

}  // namespace

metric_limit read_typed_limit(const std::string& text) {
  const typed_limit parts = parts_of(text);
  std::string problem;
  const std::optional<range> allowed = read_range(parts.range.numbers, problem);
  if (!allowed) throw usage_mistake("--limit: " + problem);
  return {parts.metric, *allowed, text};
}

std::vector<metric_limit> limits_for(const std::vector<std::string>& typed,
                                     const run_data& run) {
  std::vector<metric_limit> limits;
  for (const std::string& text : typed)
    add_limits(text, run, limits);
  return limits;
}

void tell_unlimited_nodes(const std::vector<metric_limit>& limits,
                          const run_data& run) {
  for (const metric_limit& limit : limits) {
    const std::vector<std::string> without = nodes_without(limit.metric, run);
    if (!without.empty())
      std::cerr << fmt::format("{}: --limit: {} has no value on {}\n",
                               program_name, limit.metric,
                               excerpt_of(folded_and_counted(without), 200));
  }
}

}  // namespace zelk::check
