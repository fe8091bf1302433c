// What most of a class have is right, unless hardly more have it than not: a
// value that more than half have cannot be the odd one, and without such a
// value nobody can say which group is wrong, so both are named.

#include <algorithm>
#include <cmath>

#include "src/check/judge/comparison.h"
#include "src/check/judge/glob.h"
#include "src/check/judge/value_words.h"

namespace zelk::check {

namespace {

// More kinds of odd values than that are one finding.
constexpr std::size_t most_odd_values = 12;
// Groups of a tie that are named.
constexpr std::size_t most_groups_named = 4;

std::size_t least_peers(const comparison& of, const check_definition& check) {
  return check.what.min_peers.value_or(of.options.min_peers);
}

std::vector<std::uint32_t> nodes_with(const class_values& values,
                                      std::uint32_t value) {
  std::vector<std::uint32_t> result;
  for (const node_entry& each : values.entries)
    if (each.value == value) result.push_back(each.node);
  return result;
}

// Whether `value` has less than `reference`, or more, as the direction asks.
bool is_on_side(const comparison& of, side wanted, std::uint32_t value,
                std::uint32_t reference) {
  if (wanted == side::both || wanted == side::by_better) return true;
  const bool low = wanted == side::low;
  if (value == absent_value) return low;
  if (reference == absent_value) return !low;
  const double number = of.run.number(value);
  const double other = of.run.number(reference);
  if (!std::isnan(number) && !std::isnan(other))
    return low ? number < other : number > other;
  // Another text is neither less nor more.
  if (of.column.fact->traits.type != facts::value_type::list) return false;
  const std::string& less = of.run.text(low ? value : reference);
  const std::string& more = of.run.text(low ? reference : value);
  return !without(less, more).empty();
}

// "none" stands for a fact that is not there.
bool is_ignored(const comparison& of, const check_definition& check,
                std::uint32_t value) {
  return matches_any(check.what.ignored, value == absent_value
                                             ? std::string("none")
                                             : of.run.text(value));
}

// Whether both texts are the same words, but for numbers that are no further
// apart than `percent`: "1541 2055 3082".
bool is_close(std::string_view a, std::string_view b, double percent) {
  constexpr std::string_view blanks = " \t\n";
  while (true) {
    a.remove_prefix(std::min(a.find_first_not_of(blanks), a.size()));
    b.remove_prefix(std::min(b.find_first_not_of(blanks), b.size()));
    if (a.empty() || b.empty()) return a.empty() == b.empty();
    const std::string_view left = a.substr(0, a.find_first_of(blanks));
    const std::string_view right = b.substr(0, b.find_first_of(blanks));
    if (left != right) {
      const auto number = number_in(left), other = number_in(right);
      if (!number || !other) return false;
      const double larger = std::max(std::abs(*number), std::abs(*other));
      if (std::abs(*number - *other) > larger * percent / 100) return false;
    }
    a.remove_prefix(left.size());
    b.remove_prefix(right.size());
  }
}

bool is_close(const comparison& of, const check_definition& check,
              std::uint32_t value, std::uint32_t reference) {
  if (!check.what.min_effect || value == absent_value ||
      reference == absent_value)
    return false;
  return is_close(of.run.text(value), of.run.text(reference),
                  *check.what.min_effect);
}

// Whether all values are close to the most common one.
bool are_close(const comparison& of, const check_definition& check,
               const class_values& values) {
  return std::all_of(values.counted.begin(), values.counted.end(),
                     [&](const value_count& each) {
                       return is_close(of, check, each.value,
                                       values.counted.front().value);
                     });
}

// Whether the most common value is one that the others are held against.
bool is_reference(const comparison& of, const check_definition& check,
                  const class_values& values) {
  const value_count& most = values.counted.front();
  if (is_ignored(of, check, most.value)) return false;
  if (static_cast<double>(most.nodes) * 100 <
      check.what.min_share * static_cast<double>(values.entries.size()))
    return false;
  return check.what.values.empty() ||
         matches_any(check.what.values, of.run.text(most.value));
}

void add_odd(const comparison& of, const check_definition& check,
             const class_values& values, std::vector<std::uint32_t> nodes,
             std::vector<hit>& hits) {
  if (nodes.empty()) return;
  hit found = of.made(check, shape::odd, values.number);
  found.nodes = std::move(nodes);
  found.reference = values.counted.front().value;
  found.same = values.counted.front().nodes;
  found.peers = values.entries.size() - 1;
  hits.push_back(std::move(found));
}

void add_odd_ones(const comparison& of, const check_definition& check,
                  const class_values& values, std::vector<hit>& hits) {
  const std::uint32_t reference = values.counted.front().value;
  std::vector<std::uint32_t> all;
  for (std::size_t i = 1; i < values.counted.size(); ++i) {
    const std::uint32_t value = values.counted[i].value;
    if (is_ignored(of, check, value) ||
        !is_on_side(of, check.what.direction, value, reference) ||
        is_close(of, check, value, reference))
      continue;
    std::vector<std::uint32_t> nodes = nodes_with(values, value);
    if (values.counted.size() <= most_odd_values)
      add_odd(of, check, values, std::move(nodes), hits);
    else
      all.insert(all.end(), nodes.begin(), nodes.end());
  }
  std::sort(all.begin(), all.end());
  add_odd(of, check, values, std::move(all), hits);
}

std::string groups_in_words(const comparison& of, const class_values& values) {
  std::string result;
  std::size_t named = 0, left = 0;
  for (const value_count& each : values.counted) {
    if (named == most_groups_named) {
      left += each.nodes;
      continue;
    }
    result += named++ == 0 ? "" : ", ";
    result += std::to_string(each.nodes) + " have " +
              value_words(of.run, *of.column.fact, each.value);
  }
  if (left > 0) result += ", " + std::to_string(left) + " something else";
  return result;
}

void add_tie(const comparison& of, const check_definition& check,
             const class_values& values, std::vector<hit>& hits) {
  if (check.what.direction == side::high || is_identity(values) ||
      are_close(of, check, values))
    return;
  hit found = of.made(check, shape::tie, values.number);
  found.score = std::min(found.score, most_of_common);
  for (const node_entry& each : values.entries)
    found.nodes.push_back(each.node);
  found.peers = values.entries.size();
  found.note = groups_in_words(of, values);
  hits.push_back(std::move(found));
}

}  // namespace

bool is_identity(const class_values& values) {
  return values.counted.front().nodes * 2 <= values.entries.size() &&
         values.counted.size() * 2 > values.entries.size() + 1;
}

void find_differing(const comparison& of, const check_definition& check,
                    std::vector<hit>& hits) {
  for (const class_values& values : of.values.by_class()) {
    const std::size_t count = values.entries.size();
    if (values.counted.size() < 2 || count < least_peers(of, check)) continue;
    if (!is_reference(of, check, values)) continue;
    if (values.counted.front().nodes * 2 > count)
      add_odd_ones(of, check, values, hits);
    else
      add_tie(of, check, values, hits);
  }
}

void find_lacking(const comparison& of, const check_definition& check,
                  std::vector<hit>& hits) {
  for (const class_values& values : of.values.by_class()) {
    const std::size_t count = values.entries.size();
    if (values.counted.size() < 2 || count < least_peers(of, check)) continue;
    std::vector<std::uint32_t> lacking;
    for (const node_entry& each : values.entries)
      if (std::isnan(of.run.number(each.value))) lacking.push_back(each.node);
    if (lacking.empty() || lacking.size() * 2 >= count) continue;
    hit found = of.made(check, shape::odd, values.number);
    found.same = count - lacking.size();
    found.peers = count - 1;
    found.nodes = std::move(lacking);
    found.note = "a value";
    hits.push_back(std::move(found));
  }
}

}  // namespace zelk::check
