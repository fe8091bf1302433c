#include "src/check/judge/wording.h"

#include <algorithm>
#include <cmath>
#include <map>

#include "src/check/judge/comparison.h"
#include "src/check/judge/glob.h"
#include "src/check/judge/value_words.h"

namespace zelk::check {

namespace {

constexpr std::size_t most_values_named = 3;
constexpr std::size_t most_facts_named = 3;
constexpr double least_days_told = 1.5;

std::string and_more(std::size_t named, std::size_t all) {
  return all > named ? " and " + std::to_string(all - named) + " more" : "";
}

// "-17 %", "+3.2 %"
std::string percent_words(double percent) {
  const double rounded = std::round(percent * 10) / 10;
  return (rounded > 0 ? "+" : "") + number_words(rounded) + " %";
}

// "a, b and 2 more", each once.
std::string distinct_values(const std::vector<node_value>& values) {
  std::vector<std::string> distinct;
  for (const node_value& each : values)
    if (std::find(distinct.begin(), distinct.end(), each.value) ==
        distinct.end()) {
      distinct.push_back(each.value);
      if (distinct.size() > values.size() / 2 && distinct.size() > 20) break;
    }
  std::string result;
  for (std::size_t i = 0; i < distinct.size() && i < most_values_named; ++i)
    result += (i == 0 ? "" : ", ") + distinct[i];
  return result + (distinct.size() > most_values_named ? " and others" : "");
}

// A check that names one fact needs no word on which it is.
bool is_of_one_fact(const check_definition& check) {
  return check.facts.size() == 1 && !is_pattern(check.facts.front());
}

// "--limit mem.total=250GiB:", "etc/checks/memory.xml:12"; "": it is built in.
std::string place_of(const check_definition& check) {
  if (!check.typed.empty()) return "--limit " + check.typed;
  if (check.file.empty()) return "";
  return check.file + ":" + std::to_string(check.line);
}

// Who set a limit: without it nobody can say whether it is the right one.
std::string place_words(const check_definition& check) {
  if (!check.what.limit) return "";
  const std::string place = place_of(check);
  if (place.empty()) return "";
  return (check.typed.empty() ? ", set in " : ", set by ") + place;
}

// Whether what the node has is told best by how it differs from its peers.
bool is_longer_list(const run_view& run, const hit& what, std::uint32_t value) {
  if (what.column->fact->traits.type != facts::value_type::list ||
      what.what != shape::odd || value >= absent_value ||
      what.reference >= absent_value)
    return false;
  return run.text(value).find('\n') != std::string::npos ||
         run.text(what.reference).find('\n') != std::string::npos;
}

}  // namespace

std::string wording::class_word(const hit& what) const {
  return groups.word(what.in_class);
}

std::string wording::reference_of(const hit& what) const {
  if (what.column == nullptr) return "";
  const fact_column& fact = *what.column->fact;
  switch (what.what) {
    case shape::odd:
      if (what.reference == unknown_value) return what.note;
      return value_words(run, fact, what.reference);
    case shape::outlier:
      return number_words(fact, what.of.median);
    case shape::against:
    case shape::tie:
    case shape::halves:
      return what.note;
    default:
      return "";
  }
}

std::optional<allowed_numbers> limit_of(const hit& what) {
  if (what.what != shape::against || !what.check->what.limit) return {};
  const range& allowed = *what.check->what.limit;
  allowed_numbers result;
  if (std::isfinite(allowed.start)) result.least = allowed.start;
  if (std::isfinite(allowed.end)) result.most = allowed.end;
  result.inverted = allowed.inverted;
  result.set_by = place_of(*what.check);
  return result;
}

std::optional<double> wording::reference_number_of(const hit& what) const {
  if (what.column == nullptr) return {};
  if (what.what == shape::outlier) return what.of.median;
  if (what.what != shape::odd || what.reference == unknown_value) return {};
  const facts::value_type type = what.column->fact->traits.type;
  if (type != facts::value_type::number && type != facts::value_type::integer)
    return {};
  const double number = run.number(what.reference);
  return std::isnan(number) ? std::nullopt : std::optional(number);
}

node_value wording::value_of(const hit& what, std::uint32_t node) const {
  node_value result;
  result.node = run.data().nodes[node];
  if (what.column == nullptr) return result;
  const fact_column& fact = *what.column->fact;
  const std::uint32_t value = run.value(*what.column, node);
  result.value = value_words(run, fact, value);
  if (is_longer_list(run, what, value))
    result.value = list_difference(run.text(value), run.text(what.reference));
  const double number = run.number(value);
  if (!std::isnan(number)) result.number = number;
  if (pair != nullptr) {
    const column_view* old = pair->before_of(*what.column);
    const std::uint32_t then = pair->node_before(node);
    if (old != nullptr && then != no_value)
      if (const auto before = pair->before().value(*old, then);
          before != unknown_value) {
        result.before = value_words(pair->before(), fact, before);
        if (const double was = pair->before().number(before); !std::isnan(was))
          result.number_before = was;
      }
  }
  if (what.what != shape::outlier && what.what != shape::halves) return result;
  if (result.number) {
    result.z = robust_z(*result.number, what.of);
    result.delta_percent = delta_percent(*result.number, what.of.median);
  }
  return result;
}

std::vector<node_value> wording::values_of(const hit_group& group) const {
  std::vector<node_value> result;
  result.reserve(group.nodes.size());
  const column_view* lead = group.parts.front()->of->column;
  for (const std::uint32_t node : group.nodes) {
    const auto part = std::find_if(
        group.parts.begin(), group.parts.end(), [node](const hit_part* each) {
          return std::binary_search(each->nodes.begin(), each->nodes.end(),
                                    node);
        });
    if (part == group.parts.end()) continue;
    node_value& made = result.emplace_back(value_of(*(*part)->of, node));
    const column_view* column = (*part)->of->column;
    if (column == nullptr || column == lead) continue;
    made.fact = column->fact->name;
    made.unit = column->fact->traits.unit;
  }
  return result;
}

std::string wording::growth_words(const hit& what, const node_value& of) const {
  std::string result = "grew from " + of.before + " to " + of.value;
  const double days = pair == nullptr ? 1 : pair->days_between();
  const bool is_long = days >= least_days_told;
  if (is_long) result += " in " + number_words(days) + " days";
  const char* const a_day = is_long ? " a day" : "";
  if (what.peers > 0)
    return result + "; " + std::to_string(what.peers) + " " + class_word(what) +
           "peers by " + what.note + a_day + " (median)";
  const check_rule& by = what.check->what;
  result += "; more than " + number_words(by.alone_growth.value_or(by.growth)) +
            " a day";
  return result + (by.alone_growth ? " is too much on any node"
                                   : ", and too few peers to compare with");
}

std::string wording::odd_words(const hit& what,
                               const std::string& values) const {
  const bool is_list =
      what.reference < absent_value &&
      is_longer_list(run, what, run.value(*what.column, what.nodes.front()));
  const std::string reference = what.reference == unknown_value ? "have a value"
                                : is_list                       ? "are alike"
                                          : "have " + reference_of(what);
  return values + "; " + std::to_string(what.same) + " of " +
         std::to_string(what.peers) + " " + class_word(what) + "peers " +
         reference;
}

std::string wording::outlier_words(
    const hit& what, const std::vector<node_value>& values) const {
  std::string result;
  std::size_t named = 0;
  for (const node_value& each : values) {
    if (named == most_values_named) break;
    result += (named++ == 0 ? "" : ", ") + each.value;
    if (each.delta_percent)
      result += " (" + percent_words(*each.delta_percent) + ")";
  }
  result += and_more(named, values.size());
  result += "; median of " + std::to_string(what.peers) + " " +
            class_word(what) + "peers " + reference_of(what);
  if (what.by_effect_only) result += ", which most of them have exactly";
  return result;
}

std::string wording::tie_words(const hit& what) const {
  const bool is_parted =
      !what.groups.empty() && what.groups.front().nodes.size() * 2 > what.peers;
  return (is_parted ? "two groups of " + class_word(what) + "nodes: "
                    : "no " + class_word(what) + "majority: ") +
         what.note;
}

std::string wording::change_words(const hit& what,
                                  const std::vector<node_value>& values) const {
  std::map<std::string, std::size_t> counted;
  for (const node_value& each : values)
    ++counted[each.before + " -> " + each.value];
  const auto most = std::max_element(
      counted.begin(), counted.end(),
      [](const auto& a, const auto& b) { return a.second < b.second; });
  std::string result = (most == counted.end() ? "" : most->first) +
                       (counted.size() > 1 ? " and other changes" : "");
  if (what.what == shape::everywhere)
    result = "changed on " + std::to_string(values.size()) + " of " +
             std::to_string(what.peers) + " nodes: " + result;
  return result;
}

std::string wording::answer_words(const hit_group& group) const {
  const hit& what = *group.parts.front()->of;
  std::string result = what.note;
  if (what.provider == no_provider)
    return result.empty() ? "no answer" : result;
  std::string providers;
  std::size_t named = 0;
  for (const hit_part* part : group.parts) {
    if (named == most_facts_named) break;
    const provider_info& info = run.data().providers[part->of->provider];
    providers += (named++ == 0 ? "" : ", ") + info.name;
    if (!info.option.empty()) providers += " (" + info.option + ")";
  }
  providers += and_more(named, group.parts.size());
  return result.empty() ? providers : providers + ": " + result;
}

std::string wording::fact_words(const hit_group& group) const {
  const hit& what = *group.parts.front()->of;
  if (what.column == nullptr || is_of_one_fact(*what.check)) return "";
  return what.column->fact->name + ": ";
}

std::string wording::evidence(const hit_group& group,
                              const std::vector<node_value>& values) const {
  const hit& what = *group.parts.front()->of;
  const std::string nodes = std::to_string(group.nodes.size());
  switch (what.what) {
    case shape::odd:
      return odd_words(what, distinct_values(values));
    case shape::tie:
      return tie_words(what);
    case shape::outlier:
      return outlier_words(what, values);
    case shape::halves:
      return "two groups of " + class_word(what) + "nodes: " + what.note;
    case shape::against:
      return what.column == nullptr ? what.note
                                    : distinct_values(values) + "; " +
                                          what.note + place_words(*what.check);
    case shape::same:
      return value_words(run, *what.column->fact, what.reference) + " on " +
             nodes + " nodes";
    case shape::changed:
      return change_words(what, values);
    case shape::everywhere:
      if (what.check->what.kind != rule::growth)
        return change_words(what, values);
      return "grew on " + nodes + " of " + std::to_string(what.peers) + " " +
             class_word(what) + "nodes, by " + what.note + " (median)";
    case shape::grew:
      return growth_words(what, values.front());
    case shape::answer:
      return answer_words(group);
  }
  return "";
}

std::string wording::message_of(const hit_group& group,
                                const std::vector<node_value>& values) const {
  const hit& what = *group.parts.front()->of;
  if (what.what == shape::answer) return evidence(group, values);
  std::string result = fact_words(group) + evidence(group, values);
  if (group.is_mixed)
    return std::to_string(group.parts.size()) + " differences on " +
           std::to_string(group.nodes.size()) + " nodes; the first: " + result;
  if (group.parts.size() == 1) return result;
  std::string others;
  std::size_t named = 0;
  for (std::size_t i = 1; i < group.parts.size(); ++i) {
    if (named == most_facts_named) break;
    if (const column_view* column = group.parts[i]->of->column)
      others += (named++ == 0 ? "" : ", ") + column->fact->name;
  }
  if (named == 0) return result;
  return result + " (also " + others + and_more(named, group.parts.size() - 1) +
         ")";
}

}  // namespace zelk::check
