// A run has thousands of numbers, most of them of single processors, and a
// reader looks at a dozen. First come those with outliers, then those that a
// machine was bought for, then what has a good side, then all else. Numbers
// that only differ in which part of the machine they are of are one: of each
// node the worst.
//
//   jitter.cpu0.noise, jitter.cpu1.noise, ...   jitter.cpu*.noise

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdlib>
#include <map>
#include <set>
#include <sstream>
#include <tuple>

#include "src/check/judge/column_values.h"
#include "src/check/judge/glob.h"
#include "src/check/judge/reports.h"
#include "src/check/judge/value_words.h"

namespace zelk::check {

namespace {

// A page has no room for more, and a cluster of 10,000 nodes makes each long.
constexpr std::size_t most_distributions = 200;
constexpr std::size_t most_differences = 2000;
constexpr std::size_t most_names = 1'000'000;  // of nodes, in all differences

// What people look for first, in this order.
constexpr std::array<const char*, 9> asked_for = {
    "stream.node.triad",    "dgemm.node.rate",   "disk.*.rate.*",
    "node.*.bandwidth",     "node.*.latency",    "pairs.bandwidth.median",
    "pairs.latency.median", "jitter.noise.most", "stream.node.copy"};

// Words that number the parts of a machine.
constexpr std::array<std::string_view, 9> parts = {
    "cpu", "core", "socket", "node", "gpu", "dimm", "fan", "disk", "port"};

// Numbers that differ by no more are no difference where no check minds. In a
// class too small to be compared no check was asked, so that only what the
// last digits say is left out there.
constexpr double close_share = 0.05;
constexpr double last_digits_share = 0.001;
constexpr std::size_t least_compared = 5;  // nodes, as judge_options has it

template <typename Shown>
void put_origin(Shown& into, const shown_column& of, const classes& groups) {
  const fact_column& fact = *of.column->fact;
  into.fact = fact.name;
  into.provider = fact.provider;
  into.option = fact.option;
  into.unit = fact.traits.unit;
  into.class_name = groups.list[of.in_class].name;
}

bool by_name(const shown_column& a, const shown_column& b) {
  // Columns lie in the order of their names.
  return a.column != b.column ? a.column < b.column : a.in_class < b.in_class;
}

std::set<std::uint32_t> odd_nodes(const found_hits& found,
                                  const shown_column& of) {
  std::set<std::uint32_t> result;
  for (const hit& each : found.hits)
    if (each.column == of.column && each.what != shape::changed &&
        each.what != shape::everywhere)
      result.insert(each.nodes.begin(), each.nodes.end());
  return result;
}

node_value outlier_of(const run_view& run, const fact_column& fact,
                      std::uint32_t node, std::uint32_t value,
                      const spread& peers) {
  node_value result;
  result.node = run.data().nodes[node];
  result.value = value_words(run, fact, value);
  const double number = run.number(value);
  result.number = number;
  result.z = robust_z(number, peers);
  result.delta_percent = delta_percent(number, peers.median);
  return result;
}

// One distribution to be: a column, or a family of them.
struct shown_numbers {
  shown_column first;  // of which all but the name are told
  std::string name;
  std::vector<const column_view*> columns;
  // Of the metric in all its classes.
  std::size_t rank = 0;
  double weight = 0;
};

double worse(double one, double other, facts::better direction) {
  if (std::isnan(one)) return other;
  if (std::isnan(other)) return one;
  return direction == facts::better::higher ? std::min(one, other)
                                            : std::max(one, other);
}

// The worst of the columns; NaN when none has a number.
double number_of(const run_view& run, const shown_numbers& of,
                 std::uint32_t node) {
  double result = std::nan("");
  for (const column_view* each : of.columns)
    result = worse(result, run.number(run.value(*each, node)),
                   of.first.column->fact->traits.direction);
  return result;
}

distribution distribution_of(const run_view& run, const classes& groups,
                             const shown_numbers& of,
                             const std::set<std::uint32_t>& odd) {
  distribution result;
  put_origin(result, of.first, groups);
  result.fact = of.name;
  result.members = of.columns.size();
  result.direction = of.first.column->fact->traits.direction;
  std::vector<std::pair<std::uint32_t, std::uint32_t>> outliers;
  for (const std::uint32_t node : groups.list[of.first.in_class].nodes) {
    const double number = number_of(run, of, node);
    if (std::isnan(number)) continue;
    result.values.push_back(number);
    if (odd.count(node) != 0)
      outliers.emplace_back(node, run.value(*of.first.column, node));
  }
  std::sort(result.values.begin(), result.values.end());
  const spread peers = spread_of(result.values);
  result.median = peers.median;
  result.mad = peers.mad;
  for (const auto& [node, value] : outliers)
    result.outliers.push_back(
        outlier_of(run, *of.first.column->fact, node, value, peers));
  std::stable_sort(result.outliers.begin(), result.outliers.end(),
                   [&](const node_value& a, const node_value& b) {
                     return std::abs(*a.number - peers.median) >
                            std::abs(*b.number - peers.median);
                   });
  return result;
}

bool is_digit(char c) {
  return c >= '0' && c <= '9';
}

// Whether the last word of a name is only that of a part: "dgemm.cpu31".
bool is_part(std::string_view last_word) {
  const std::size_t letters = last_word.find_last_not_of("0123456789") + 1;
  return letters < last_word.size() &&
         std::find(parts.begin(), parts.end(), last_word.substr(0, letters)) !=
             parts.end();
}

// The name with "*" for the numbers of parts: "jitter.cpu*.noise". A number in
// the last word mostly says what was measured: "load.15min",
// "jitter.wakeup.p99_9". A name without such numbers stays as it is.
std::string family_name(const std::string& fact) {
  const std::size_t last = fact.rfind('.') + 1;
  const std::size_t folded =
      is_part(std::string_view(fact).substr(last)) ? fact.size() : last;
  std::string result;
  for (std::size_t i = 0; i < fact.size();) {
    std::size_t end = i;
    while (end < folded && is_digit(fact[end]))
      ++end;
    const bool ends_word = end == fact.size() || fact[end] == '.';
    const bool is_number = end > i && ends_word;
    end = std::max(end, i + 1);
    result += is_number ? "*" : fact.substr(i, end - i);
    i = end;
  }
  return result;
}

using family_key = std::tuple<std::string, std::string, std::string>;

family_key family_of(const column_view& column) {
  const fact_column& fact = *column.fact;
  return {family_name(fact.name), fact.provider, fact.option};
}

// The columns of all families that are among those shown, also those that all
// nodes of a class agree in.
std::map<family_key, std::vector<const column_view*>> families_of(
    const run_view& run, const std::vector<shown_column>& shown) {
  std::map<family_key, std::vector<const column_view*>> result;
  for (const shown_column& each : shown)
    if (std::get<0>(family_of(*each.column)) != each.column->fact->name)
      result[family_of(*each.column)];
  if (result.empty()) return result;
  for (const column_view& each : run.columns()) {
    const auto found = result.find(family_of(each));
    if (found != result.end()) found->second.push_back(&each);
  }
  return result;
}

// A column with outliers is told by itself, whatever family it is of.
std::vector<shown_numbers> folded(const run_view& run,
                                  const std::vector<shown_column>& shown) {
  const auto families = families_of(run, shown);
  std::vector<shown_numbers> result;
  std::map<std::pair<family_key, std::uint32_t>, std::size_t> places;
  for (const shown_column& each : shown) {
    const family_key key = family_of(*each.column);
    const auto found = families.find(key);
    const bool is_one_of_many =
        found != families.end() && found->second.size() > 1;
    if (each.is_odd || !is_one_of_many) {
      result.push_back(
          {each, each.column->fact->name, {each.column}, 0, each.weight});
      continue;
    }
    const auto [place, is_new] =
        places.emplace(std::pair(key, each.in_class), result.size());
    if (is_new)
      result.push_back({each, std::get<0>(key), found->second, 0, each.weight});
    else
      result[place->second].weight =
          std::max(result[place->second].weight, each.weight);
  }
  return result;
}

// 0 for what is looked at first.
std::size_t rank_of(const shown_numbers& of) {
  if (of.first.is_odd) return 0;
  for (std::size_t i = 0; i < asked_for.size(); ++i)
    if (matches(asked_for[i], of.name)) return 1 + i;
  const facts::fact_traits& traits = of.first.column->fact->traits;
  const std::size_t rest = 1 + asked_for.size();
  if (traits.direction == facts::better::none) return rest + 2;
  return traits.unit.ends_with("/s") ? rest : rest + 1;
}

// The metrics in their order; the classes of one stay together.
void put_in_order(std::vector<shown_numbers>& all) {
  std::map<family_key, std::pair<std::size_t, double>> places;
  const auto key_of = [](const shown_numbers& of) {
    return family_key(of.name, of.first.column->fact->provider,
                      of.first.column->fact->option);
  };
  for (const shown_numbers& each : all) {
    const std::pair place(rank_of(each), each.weight);
    const auto [found, is_new] = places.emplace(key_of(each), place);
    found->second.first = std::min(found->second.first, place.first);
    found->second.second = std::max(found->second.second, place.second);
  }
  for (shown_numbers& each : all)
    std::tie(each.rank, each.weight) = places.at(key_of(each));
  std::stable_sort(all.begin(), all.end(), [](const auto& a, const auto& b) {
    const fact_column& one = *a.first.column->fact;
    const fact_column& other = *b.first.column->fact;
    if (a.rank != b.rank) return a.rank < b.rank;
    if (a.weight != b.weight) return a.weight > b.weight;
    if (a.name != b.name) return a.name < b.name;
    return std::tie(one.provider, one.option, b.first.is_odd,
                    a.first.in_class) < std::tie(other.provider, other.option,
                                                 a.first.is_odd,
                                                 b.first.in_class);
  });
}

// The numbers of a text that has nothing else; empty: it has something else.
std::vector<double> numbers_in(const std::string& text) {
  std::vector<double> result;
  std::istringstream words(text);
  for (std::string word; words >> word;) {
    char* end = nullptr;
    result.push_back(std::strtod(word.c_str(), &end));
    if (*end != '\0' || !std::isfinite(result.back())) return {};
  }
  return result;
}

bool is_close(const std::vector<double>& one, const std::vector<double>& other,
              double share) {
  if (one.empty() || one.size() != other.size()) return false;
  for (std::size_t i = 0; i < one.size(); ++i)
    if (std::abs(one[i] - other[i]) > share * std::abs(one[i])) return false;
  return true;
}

// Whether all values are so close to that of most that nobody would call it a
// difference.
bool is_close(const difference& of, double share) {
  if (of.absent || of.groups.empty()) return false;
  const std::vector<double> most = numbers_in(of.groups.front().first);
  return std::all_of(of.groups.begin(), of.groups.end(), [&](const auto& each) {
    return is_close(most, numbers_in(each.first), share);
  });
}

using told_columns = std::set<std::pair<const column_view*, std::uint32_t>>;

told_columns told_by(const found_hits& found) {
  told_columns result;
  for (const hit& each : found.hits)
    result.emplace(each.column, each.in_class);
  return result;
}

difference difference_of(const run_view& run, const classes& groups,
                         const shown_column& of) {
  difference result;
  put_origin(result, of, groups);
  std::map<std::uint32_t, std::vector<std::uint32_t>> nodes;
  for (const std::uint32_t node : groups.list[of.in_class].nodes) {
    const std::uint32_t value = run.value(*of.column, node);
    if (value != unknown_value) nodes[value].push_back(node);
  }
  std::vector<std::pair<std::uint32_t, std::vector<std::uint32_t>>> ordered(
      nodes.begin(), nodes.end());
  std::sort(ordered.begin(), ordered.end(), [&](const auto& a, const auto& b) {
    if (a.second.size() != b.second.size())
      return a.second.size() > b.second.size();
    return a.second < b.second;
  });
  for (const auto& [value, list] : ordered) {
    if (value == absent_value) result.absent = result.groups.size();
    std::vector<std::string> names;
    names.reserve(list.size());
    for (const std::uint32_t node : list)
      names.push_back(run.data().nodes[node]);
    result.groups.emplace_back(run.text(value), std::move(names));
  }
  return result;
}

}  // namespace

std::vector<distribution> distributions_of(const run_view& run,
                                           const classes& groups,
                                           const found_hits& found,
                                           std::size_t& left_out) {
  std::vector<shown_column> shown = found.distributions;
  std::sort(shown.begin(), shown.end(), by_name);
  std::vector<shown_numbers> order = folded(run, shown);
  put_in_order(order);
  left_out = order.size() - std::min(order.size(), most_distributions);
  order.resize(order.size() - left_out);
  std::vector<distribution> result;
  result.reserve(order.size());
  for (const shown_numbers& each : order)
    result.push_back(distribution_of(run, groups, each,
                                     each.first.is_odd
                                         ? odd_nodes(found, each.first)
                                         : std::set<std::uint32_t>()));
  return result;
}

std::vector<difference> differences_of(const run_view& run,
                                       const classes& groups,
                                       const found_hits& found,
                                       std::size_t& left_out) {
  std::vector<shown_column> order = found.differences;
  std::sort(order.begin(), order.end(), by_name);
  std::stable_sort(order.begin(), order.end(),
                   [](const auto& a, const auto& b) { return a.odd < b.odd; });
  const told_columns told = told_by(found);
  std::vector<difference> result;
  std::size_t names = 0;
  std::size_t close = 0;
  for (const shown_column& each : order) {
    names += groups.list[each.in_class].nodes.size();
    if (result.size() == most_differences || names > most_names) break;
    difference one = difference_of(run, groups, each);
    const bool is_told = told.count({each.column, each.in_class}) != 0 ||
                         told.count({each.column, no_class}) != 0;
    const bool is_compared =
        groups.list[each.in_class].nodes.size() >= least_compared;
    if (!is_told &&
        is_close(one, is_compared ? close_share : last_digits_share))
      ++close;
    else
      result.push_back(std::move(one));
  }
  left_out = order.size() - result.size() - close;
  return result;
}

}  // namespace zelk::check
