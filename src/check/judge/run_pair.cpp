#include "src/check/judge/run_pair.h"

#include <algorithm>
#include <string_view>

namespace zelk::check {

namespace {

// Which values are those of a fact whose text may be compared with that of
// another run. Most values of a run are measurements, which never are.
std::vector<bool> compared_as_text(const run_view& run) {
  std::vector<bool> result(run.data().values.size(), false);
  for (const fact_column& each : run.data().facts) {
    if (each.traits.compare == facts::comparison::outlier ||
        each.traits.compare == facts::comparison::counter)
      continue;
    for (const std::uint32_t value : each.values)
      if (value < result.size()) result[value] = true;
  }
  return result;
}

}  // namespace

run_pair::run_pair(const run_view& now, const run_view& before)
    : now_(now), before_(before) {
  match_nodes();
  match_values();
  match_columns();
  find_restarted();
}

void run_pair::match_nodes() {
  std::unordered_map<std::string_view, std::uint32_t> numbers;
  for (std::uint32_t i = 0; i < before_.nodes(); ++i)
    numbers.emplace(before_.data().nodes[i], i);
  for (const std::string& name : now_.data().nodes) {
    const auto found = numbers.find(name);
    node_before_.push_back(found == numbers.end() ? no_value : found->second);
  }
}

void run_pair::match_values() {
  const facts::value_table& values = now_.data().values;
  const facts::value_table& old_values = before_.data().values;
  const std::vector<bool> is_text_now = compared_as_text(now_);
  const std::vector<bool> is_text_before = compared_as_text(before_);
  std::unordered_map<facts::fact_value, std::uint32_t> numbers;
  numbers.reserve(static_cast<std::size_t>(
      std::count(is_text_now.begin(), is_text_now.end(), true)));
  for (std::uint32_t i = 0; i < values.size(); ++i)
    if (is_text_now[i]) numbers.emplace(values.at(i), i);
  value_now_.assign(before_.value_count(), foreign_value);
  for (std::uint32_t i = 0; i < old_values.size(); ++i) {
    if (!is_text_before[i]) continue;
    const auto found = numbers.find(old_values.at(i));
    if (found != numbers.end()) value_now_[i] = found->second;
  }
  match_made_values();
}

// Values made for columns of our own.
void run_pair::match_made_values() {
  const auto of_before = before_.data().values.size();
  const auto of_now = now_.data().values.size();
  for (std::size_t i = of_before; i < before_.value_count(); ++i)
    for (std::size_t j = of_now; j < now_.value_count(); ++j)
      if (now_.text(static_cast<std::uint32_t>(j)) ==
          before_.text(static_cast<std::uint32_t>(i)))
        value_now_[i] = static_cast<std::uint32_t>(j);
}

bool run_pair::same_versions(const column_view& now,
                             const column_view& before) const {
  if (now.provider == no_provider || before.provider == no_provider)
    return now.provider == before.provider;
  return now_.data().providers[now.provider].versions ==
         before_.data().providers[before.provider].versions;
}

void run_pair::match_columns() {
  auto then = before_.columns().begin();
  const auto end = before_.columns().end();
  const auto order = [](const column_view& a, const column_view& b) {
    if (const int by_name = a.fact->name.compare(b.fact->name)) return by_name;
    if (const int by = a.fact->provider.compare(b.fact->provider)) return by;
    return a.fact->option.compare(b.fact->option);
  };
  for (const column_view& column : now_.columns()) {
    while (then != end && order(*then, column) < 0)
      ++then;
    if (then != end && order(*then, column) == 0 &&
        same_versions(column, *then)) {
      columns_.emplace(&column, &*then);
      now_of_.emplace(&*then, &column);
    }
  }
}

const column_view* run_pair::before_of(const column_view& column) const {
  const auto found = columns_.find(&column);
  return found == columns_.end() ? nullptr : found->second;
}

const column_view* run_pair::now_of(const column_view* column_before) const {
  const auto found = now_of_.find(column_before);
  return found == now_of_.end() ? nullptr : found->second;
}

std::uint32_t run_pair::value_before(const column_view* column_before,
                                     std::size_t node) const {
  const std::uint32_t then = node_before_[node];
  if (column_before == nullptr || then == no_value) return unknown_value;
  const std::uint32_t value = before_.value(*column_before, then);
  return value < value_now_.size() ? value_now_[value] : value;
}

double run_pair::days_between() const {
  constexpr double usec_per_day = 86400e6;
  const auto apart = static_cast<double>(now_.data().run.started_usec -
                                         before_.data().run.started_usec);
  return std::max(1.0, apart / usec_per_day);
}

void run_pair::find_restarted() {
  restarted_.assign(now_.nodes(), 0);
  const column_view* boot = now_.find("boot.id");
  if (boot == nullptr) return;
  const column_view* boot_before = before_of(*boot);
  for (std::size_t node = 0; node < now_.nodes(); ++node) {
    const std::uint32_t value = now_.value(*boot, node);
    const std::uint32_t before = value_before(boot_before, node);
    const bool known = value < now_.value_count() && before != unknown_value &&
                       before != absent_value;
    restarted_[node] = known && value != before;
  }
}

}  // namespace zelk::check
