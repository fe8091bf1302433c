// What most of a class have is right, unless hardly more have it than not: a
// value that more than half have cannot be the odd one, and without such a
// value nobody can say which group is wrong, so both are named.

#include <algorithm>
#include <cmath>

#include "src/check/judge/comparison.h"
#include "src/check/judge/glob.h"
#include "src/check/judge/value_words.h"
#include "src/common/node/tokenized_host.h"

namespace zelk::check {

namespace {

// More kinds of odd values than that are one finding.
constexpr std::size_t most_odd_values = 12;
// Groups of a tie that are named.
constexpr std::size_t most_groups_named = 4;
// From this share of a class on, odd values are a group, as odd numbers are;
// the groups of fewer nodes are too small to tell.
constexpr std::size_t group_is_one_in = 4;
constexpr std::size_t least_parted = 10;
constexpr std::size_t longest_node_set = 60;  // bytes, in a line of evidence

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

// Whether the column says whether a node has such a thing at all.
bool is_applies(const comparison& of) {
  return of.column.fact->name.starts_with(applies_prefix);
}

// Whether `value` has less than `reference`, or more, as the direction asks.
bool is_on_side(const comparison& of, side wanted, std::uint32_t value,
                std::uint32_t reference) {
  // Who has what the others have not is no fault.
  if (is_applies(of)) return of.run.text(value) == applies_no;
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

bool is_close(const comparison& of, const check_definition& check,
              std::uint32_t value, std::uint32_t reference) {
  if (!check.what.min_effect || value == absent_value ||
      reference == absent_value)
    return false;
  return are_close(of.run.text(value), of.run.text(reference),
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

// Whether so many nodes have the value that they are no odd ones but half of a
// change. A fact that is not there, or is less where less is bad, is no such.
bool is_group(const comparison& of, const check_definition& check,
              const class_values& values, const value_count& each) {
  const std::uint32_t reference = values.counted.front().value;
  const side wanted = check.what.direction;
  return values.entries.size() >= least_parted &&
         each.nodes * group_is_one_in >= values.entries.size() &&
         (wanted == side::both || wanted == side::by_better) &&
         each.value != absent_value && reference != absent_value &&
         !is_applies(of) && !is_ignored(of, check, each.value) &&
         !is_close(of, check, each.value, reference);
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
        is_close(of, check, value, reference) ||
        is_group(of, check, values, values.counted[i]))
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

node_group group_of(const comparison& of, const class_values& values,
                    std::uint32_t value) {
  const double number = of.run.number(value);
  return {value_words(of.run, *of.column.fact, value),
          nodes_with(values, value),
          std::isnan(number) ? std::nullopt : std::optional(number)};
}

// The groups of all values, those of the fewest nodes without their nodes.
std::string groups_in_words(const comparison& of, const class_values& values,
                            const std::vector<node_group>& groups) {
  std::string result;
  std::size_t left = values.entries.size();
  for (std::size_t i = 0; i < groups.size() && i < most_groups_named; ++i) {
    result += (i == 0 ? "" : ", ") +
              group_words(of.run, groups[i], "have " + groups[i].value);
    left -= groups[i].nodes.size();
  }
  if (left > 0) result += ", " + std::to_string(left) + " something else";
  return result;
}

void add_groups(const comparison& of, const check_definition& check,
                const class_values& values, std::vector<node_group> groups,
                std::vector<hit>& hits) {
  hit found = of.made(check, shape::tie, values.number);
  found.score = std::min(found.score, most_of_common);
  found.blames_nobody = true;
  for (const node_group& each : groups)
    found.nodes.insert(found.nodes.end(), each.nodes.begin(), each.nodes.end());
  std::sort(found.nodes.begin(), found.nodes.end());
  found.peers = values.entries.size();
  found.note = groups_in_words(of, values, groups);
  found.groups = std::move(groups);
  hits.push_back(std::move(found));
}

// Of no value that most have: nobody knows which is right.
void add_tie(const comparison& of, const check_definition& check,
             const class_values& values, std::vector<hit>& hits) {
  if (check.what.direction == side::high || is_identity(values) ||
      are_close(of, check, values))
    return;
  std::vector<node_group> groups;
  groups.reserve(values.counted.size());
  for (const value_count& each : values.counted)
    groups.push_back(group_of(of, values, each.value));
  add_groups(of, check, values, std::move(groups), hits);
}

void add_two_groups(const comparison& of, const check_definition& check,
                    const class_values& values, std::vector<hit>& hits) {
  std::vector<node_group> groups = {
      group_of(of, values, values.counted.front().value)};
  for (std::size_t i = 1; i < values.counted.size(); ++i)
    if (is_group(of, check, values, values.counted[i]))
      groups.push_back(group_of(of, values, values.counted[i].value));
  if (groups.size() > 1) add_groups(of, check, values, std::move(groups), hits);
}

}  // namespace

std::string group_words(const run_view& run, const node_group& of,
                        const std::string& what) {
  std::vector<std::string> names;
  names.reserve(of.nodes.size());
  for (const std::uint32_t node : of.nodes)
    names.push_back(run.data().nodes[node]);
  return std::to_string(of.nodes.size()) + " " + what + " (" +
         clipped(TokenizedHost::get_merged_hosts(names), longest_node_set) +
         ")";
}

bool are_close(std::string_view a, std::string_view b, double percent) {
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
    if (values.counted.front().nodes * 2 > count) {
      add_two_groups(of, check, values, hits);
      add_odd_ones(of, check, values, hits);
    } else
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
