// A number is an outlier when it is far from the median of its class by two
// measures: by the robust z, so that it is no chance among values that vary,
// and by a least effect, so that it matters. On the bad side only, where there
// is one. Values in two groups (half of the nodes with other firmware) are one
// finding, not as many outliers.

#include <algorithm>
#include <cmath>

#include "src/check/judge/comparison.h"
#include "src/check/judge/value_words.h"

namespace zelk::check {

namespace {

// From this share of a class on, the odd ones are a group.
constexpr std::size_t group_is_one_in = 4;

struct numbered {
  double number = 0;
  std::uint32_t node = 0;
};

struct limits {
  bool low = true, high = true;  // the sides that are bad
  double width = 0;              // the least effect
  double z = 0, single_z = 0;    // what is needed of many values, and of one
};

// How far the values of all classes are from their own class's median, as parts
// of it. The MAD of six nodes says little; nodes of other classes vary alike.
struct pooled_spread {
  std::size_t count = 0;
  double mad = 0;  // 0: not known
};

limits limits_of(const comparison& of, const check_rule& rule,
                 const spread& spread_found, std::size_t count) {
  limits result;
  side wanted = rule.direction;
  const facts::better direction = of.column.fact->traits.direction;
  if (wanted == side::by_better)
    wanted = direction == facts::better::higher  ? side::low
             : direction == facts::better::lower ? side::high
                                                 : side::both;
  result.low = wanted != side::high;
  result.high = wanted != side::low;
  const double percent =
      rule.min_effect.value_or(rule.min_difference ? 0 : of.options.min_effect);
  result.width = std::max(std::abs(spread_found.median) * (percent / 100),
                          rule.min_difference.value_or(0));
  result.single_z = rule.z.value_or(of.options.z);
  result.z = needed_z(result.single_z, count);
  return result;
}

// Whether the value is too far for a value that varies as those of all classes,
// and far enough for its own class, were it the only one looked at.
bool is_far_for_all(double number, const spread& of, const limits& by,
                    const pooled_spread& pool) {
  if (pool.mad <= 0 || of.median == 0) return false;
  const spread all{1, pool.mad};
  return std::abs(*robust_z(number / of.median, all)) >=
             needed_z(by.single_z, pool.count) &&
         std::abs(*robust_z(number, of)) >= by.single_z;
}

bool is_outlier(double number, const spread& of, const limits& by,
                const pooled_spread& pool) {
  const double difference = number - of.median;
  if (difference == 0 || (difference < 0 ? !by.low : !by.high)) return false;
  // As far as the least effect counts, but for the noise of a division.
  if (std::abs(difference) < by.width * (1 - 1e-9)) return false;
  return of.mad <= 0 || std::abs(*robust_z(number, of)) >= by.z ||
         is_far_for_all(number, of, by, pool);
}

class class_outliers {
 public:
  class_outliers(const comparison& of, const check_definition& check,
                 const class_values& values);

  std::size_t count() const { return numbers_.size(); }

  // Requires: there are at least two.
  void find(const pooled_spread& pool, std::vector<hit>& hits);

  // Adds how far each value is from the median, as parts of it.
  void add_parts(std::vector<double>& parts) const;

 private:
  hit with_spread(shape what) const;
  void add_outliers(std::vector<std::uint32_t> nodes,
                    std::vector<hit>& hits) const;
  bool add_two_groups(std::vector<hit>& hits) const;
  bool takes_low(const two_groups& groups) const;

  const comparison& of_;
  const check_definition& check_;
  std::uint32_t class_;
  std::vector<numbered> numbers_;
  std::vector<double> ascending_;
  spread spread_;
  limits by_;
};

class_outliers::class_outliers(const comparison& of,
                               const check_definition& check,
                               const class_values& values)
    : of_(of), check_(check), class_(values.number) {
  for (const node_entry& each : values.entries) {
    const double number = of.run.number(each.value);
    if (std::isnan(number)) continue;
    numbers_.push_back({number, each.node});
    ascending_.push_back(number);
  }
  std::sort(ascending_.begin(), ascending_.end());
}

void class_outliers::add_parts(std::vector<double>& parts) const {
  const double median = median_of(ascending_);
  if (median == 0) return;
  for (const double each : ascending_)
    parts.push_back(std::abs(each / median - 1));
}

void class_outliers::find(const pooled_spread& pool, std::vector<hit>& hits) {
  if (ascending_.front() == ascending_.back()) return;
  spread_ = spread_of(ascending_);
  by_ = limits_of(of_, check_.what, spread_, count());
  std::vector<std::uint32_t> nodes;
  for (const numbered& each : numbers_)
    if (is_outlier(each.number, spread_, by_, pool)) nodes.push_back(each.node);
  const bool is_few = nodes.size() * group_is_one_in < count();
  const bool is_parted = add_two_groups(hits);
  if (!nodes.empty() && (is_few || !is_parted))
    add_outliers(std::move(nodes), hits);
}

hit class_outliers::with_spread(shape what) const {
  hit result = of_.made(check_, what, class_);
  result.of = spread_;
  result.by_effect_only = spread_.mad <= 0;
  return result;
}

void class_outliers::add_outliers(std::vector<std::uint32_t> nodes,
                                  std::vector<hit>& hits) const {
  hit found = with_spread(shape::outlier);
  found.peers = count() - nodes.size();
  found.nodes = std::move(nodes);
  hits.push_back(std::move(found));
}

// The nodes to look at are those of the worse group; of the smaller one when no
// side is bad, or when most nodes are on the bad one.
bool class_outliers::takes_low(const two_groups& groups) const {
  const std::size_t above = count() - groups.below;
  const std::size_t worse = by_.low ? groups.below : above;
  if (by_.low != by_.high && worse * 2 <= count()) return by_.low;
  return groups.below < above;
}

bool class_outliers::add_two_groups(std::vector<hit>& hits) const {
  const std::size_t least = std::max<std::size_t>(
      2, (count() + group_is_one_in - 1) / group_is_one_in);
  const auto groups = find_two_groups(ascending_, least, by_.width);
  if (!groups) return false;
  const std::size_t above = count() - groups->below;
  const bool one_side = by_.low != by_.high;
  const bool all = !one_side && groups->below == above;
  const bool take_low = takes_low(*groups);
  hit found = with_spread(shape::halves);
  found.score = std::min(found.score, most_of_common);
  // Most nodes are on the bad side: a few are better than the rest.
  if (one_side && take_low != by_.low)
    found.score = std::min(found.score, most_of_everywhere);
  const double border = ascending_[groups->below];
  found.border = border;
  for (const numbered& each : numbers_)
    (all || (each.number < border) == take_low ? found.nodes : found.others)
        .push_back(each.node);
  found.peers = count();
  const fact_column& fact = *of_.column.fact;
  node_group low{number_words(fact, groups->low), {}, groups->low};
  node_group high{number_words(fact, groups->high), {}, groups->high};
  for (const numbered& each : numbers_)
    (each.number < border ? low : high).nodes.push_back(each.node);
  found.note = group_words(of_.run, low, "have about " + low.value) + ", " +
               group_words(of_.run, high, "about " + high.value);
  found.blames_nobody = all;
  found.groups = {std::move(low), std::move(high)};
  if (groups->below < above) std::swap(found.groups[0], found.groups[1]);
  hits.push_back(std::move(found));
  return true;
}

pooled_spread pool_of(const std::vector<class_outliers>& classes) {
  std::vector<double> parts;
  // One class says all of itself.
  if (classes.size() > 1)
    for (const class_outliers& each : classes)
      each.add_parts(parts);
  if (parts.empty()) return {};
  std::sort(parts.begin(), parts.end());
  return {parts.size(), median_of(parts)};
}

}  // namespace

void find_outliers(const comparison& of, const check_definition& check,
                   std::vector<hit>& hits) {
  const std::size_t least = std::max<std::size_t>(
      check.what.min_peers.value_or(of.options.min_peers), 2);
  std::vector<class_outliers> found;
  for (const class_values& values : of.values.by_class())
    if (values.entries.size() >= least && !values.counted.empty())
      if (class_outliers in_class(of, check, values); in_class.count() >= least)
        found.push_back(std::move(in_class));
  const pooled_spread pool = pool_of(found);
  for (class_outliers& each : found)
    each.find(pool, hits);
}

}  // namespace zelk::check
