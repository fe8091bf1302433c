#include <algorithm>
#include <charconv>
#include <cmath>
#include <map>
#include <unordered_map>

#include "src/check/judge/built_in_checks.h"
#include "src/check/judge/comparison.h"
#include "src/check/judge/glob.h"
#include "src/check/judge/value_words.h"

namespace zelk::check {

namespace {

// As many groups of nodes with one value are told apart; the rest is one.
constexpr std::size_t most_groups = 50;

// Adds the nodes whose value `is_bad`, as one hit.
template <typename IsBad>
void find_against(const comparison& of, const check_definition& check,
                  const std::string& wanted, IsBad is_bad,
                  std::vector<hit>& hits) {
  hit found = of.made(check, shape::against);
  for (std::uint32_t node = 0; node < of.run.nodes(); ++node) {
    const std::uint32_t value = of.run.value(of.column, node);
    if (value != unknown_value && is_bad(value)) found.nodes.push_back(node);
  }
  if (found.nodes.empty()) return;
  found.note = wanted;
  hits.push_back(std::move(found));
}

// Judges each value once: most nodes share theirs.
template <typename IsBad>
auto remembered(const IsBad& is_bad) {
  return [&is_bad, known = std::unordered_map<std::uint32_t, bool>()](
             std::uint32_t value) mutable {
    const auto place = known.find(value);
    if (place != known.end()) return place->second;
    return known.emplace(value, is_bad(value)).first->second;
  };
}

std::string joined(const std::vector<std::string>& patterns) {
  std::string result;
  for (const std::string& each : patterns) {
    if (!result.empty()) result += " or ";
    result += each.empty() ? "nothing" : each;
  }
  return result;
}

std::string wanted_value(const check_rule& rule) {
  if (!rule.values.empty()) return joined(rule.values);
  return "not " + joined(rule.refused);
}

bool is_bad_text(const check_rule& rule, std::string_view text) {
  if (matches_any(rule.ignored, text)) return false;
  if (matches_any(rule.refused, text)) return true;
  return !rule.values.empty() && !matches_any(rule.values, text);
}

// What names nothing: an empty text, or an address of zeros.
bool is_nameless(std::string_view text) {
  return text.find_first_not_of("0:.- ") == text.npos;
}

}  // namespace

std::vector<std::string_view> elements_of(
    std::string_view list, const std::vector<std::string>& ignored) {
  std::vector<std::string_view> result;
  while (!list.empty()) {
    const std::size_t end = std::min(list.find('\n'), list.size());
    const std::string_view element = list.substr(0, end);
    if (!element.empty() && !matches_any(ignored, element))
      result.push_back(element);
    list.remove_prefix(std::min(end + 1, list.size()));
  }
  return result;
}

std::optional<double> number_in(std::string_view text) {
  double number = 0;
  const auto read =
      std::from_chars(text.data(), text.data() + text.size(), number);
  if (text.empty() || read.ec != std::errc() || !std::isfinite(number))
    return std::nullopt;
  // A number may have a unit behind it, not a word in front of more digits.
  if (read.ptr != text.data() + text.size() && *read.ptr != ' ')
    return std::nullopt;
  return number;
}

std::optional<double> number_in(const run_view& run, std::uint32_t value) {
  const double known = run.number(value);
  if (!std::isnan(known)) return known;
  return number_in(run.text(value));
}

void find_out_of_range(const comparison& of, const check_definition& check,
                       std::vector<hit>& hits) {
  const range limit = check.what.limit.value_or(range());
  const fact_column& fact = *of.column.fact;
  const auto end_words = [&](double end) {
    return std::isfinite(end) ? number_words(fact, end) : std::string();
  };
  const std::string ends[] = {end_words(limit.start), end_words(limit.end)};
  bool is_near = false;  // a bad value reads like the end that it is beyond
  const std::size_t first = hits.size();
  find_against(
      of, check, "",
      [&](std::uint32_t value) {
        const auto number = number_in(of.run, value);
        if (!number || limit.holds(*number)) return false;
        const std::string words = number_words(fact, *number);
        is_near = is_near || words == ends[0] || words == ends[1];
        return true;
      },
      hits);
  for (std::size_t i = first; i < hits.size(); ++i)
    hits[i].note = "limit " + range_words(fact, limit, is_near);
}

void find_bad_values(const comparison& of, const check_definition& check,
                     std::vector<hit>& hits) {
  const auto is_bad = [&](std::uint32_t value) {
    if (value == absent_value) return false;
    const std::string& text = of.run.text(value);
    if (of.column.fact->traits.type != facts::value_type::list)
      return is_bad_text(check.what, text);
    const auto all = elements_of(text, check.what.ignored);
    return std::any_of(all.begin(), all.end(), [&](std::string_view each) {
      return is_bad_text(check.what, each);
    });
  };
  find_against(of, check, "should be " + wanted_value(check.what),
               remembered(is_bad), hits);
}

void find_bad_states(const comparison& of, const check_definition& check,
                     std::vector<hit>& hits) {
  constexpr const char* words[] = {"fine", "a warning", "critical"};
  std::map<std::int64_t, hit> found;
  for (std::uint32_t node = 0; node < of.run.nodes(); ++node) {
    const double number = of.run.number(of.run.value(of.column, node));
    if (std::isnan(number) || number == 0) continue;
    const auto state = static_cast<std::int64_t>(number);
    const auto place =
        found.try_emplace(state, of.made(check, shape::against)).first;
    hit& each = place->second;
    each.score = std::min(check.score, score_of_state(state));
    each.note = state == 1 || state == 2
                    ? std::string("which is ") + words[state]
                    : "it could not tell";
    each.nodes.push_back(node);
  }
  for (auto& [state, each] : found)
    hits.push_back(std::move(each));
}

void find_not_present(const comparison& of, const check_definition& check,
                      std::vector<hit>& hits) {
  find_against(
      of, check, "must be there",
      [&](std::uint32_t value) { return of.run.text(value).empty(); }, hits);
}

void find_present(const comparison& of, const check_definition& check,
                  std::vector<hit>& hits) {
  const auto is_bad = [&](std::uint32_t value) {
    return value != absent_value &&
           !elements_of(of.run.text(value), check.what.ignored).empty();
  };
  find_against(of, check, "there should be none", remembered(is_bad), hits);
}

void find_not_unique(const comparison& of, const check_definition& check,
                     std::vector<hit>& hits) {
  std::unordered_map<std::uint32_t, std::vector<std::uint32_t>> holders;
  for (std::uint32_t node = 0; node < of.run.nodes(); ++node) {
    const std::uint32_t value = of.run.value(of.column, node);
    if (value < absent_value) holders[value].push_back(node);
  }
  std::map<std::uint32_t, std::uint32_t> shared;  // by first node: the value
  for (const auto& [value, nodes] : holders) {
    const std::string& text = of.run.text(value);
    if (nodes.size() > 1 && !is_nameless(text) &&
        !matches_any(check.what.ignored, text))
      shared.emplace(nodes.front(), value);
  }
  std::size_t groups = 0;
  for (const auto& [first, value] : shared) {
    const std::vector<std::uint32_t>& nodes = holders[value];
    if (groups++ < most_groups) {
      hit found = of.made(check, shape::same);
      found.nodes = nodes;
      found.reference = value;
      hits.push_back(std::move(found));
    } else {
      std::vector<std::uint32_t>& last = hits.back().nodes;
      last.insert(last.end(), nodes.begin(), nodes.end());
      std::sort(last.begin(), last.end());
    }
  }
}

}  // namespace zelk::check
