#include "src/check/judge/column_values.h"

#include <algorithm>

namespace zelk::check {

column_values::column_values(const run_view& run, const classes& groups)
    : run_(run), groups_(groups), counts_(run.value_count() + 1, 0) {
  by_class_.resize(groups.list.size());
  for (std::uint32_t i = 0; i < by_class_.size(); ++i)
    by_class_[i].number = i;
}

void column_values::take(const column_view& column) {
  for (class_values& each : by_class_) {
    each.entries.clear();
    for (const std::uint32_t node : groups_.list[each.number].nodes) {
      const std::uint32_t value = run_.value(column, node);
      if (value != unknown_value) each.entries.push_back({node, value});
    }
    count(each);
  }
}

void column_values::count(class_values& of) {
  of.counted.clear();
  const std::size_t last = counts_.size() - 1;
  const auto place = [last](std::uint32_t value) {
    return std::min<std::size_t>(value, last);
  };
  for (const node_entry& each : of.entries)
    if (counts_[place(each.value)]++ == 0)
      of.counted.push_back({each.value, 0});
  for (value_count& each : of.counted) {
    each.nodes = counts_[place(each.value)];
    counts_[place(each.value)] = 0;
  }
  std::sort(of.counted.begin(), of.counted.end(),
            [this](const value_count& a, const value_count& b) {
              if (a.nodes != b.nodes) return a.nodes > b.nodes;
              if ((a.value == absent_value) != (b.value == absent_value))
                return b.value == absent_value;
              return run_.text(a.value) < run_.text(b.value);
            });
}

bool column_values::is_equal_everywhere() const {
  bool some = false;
  for (const class_values& each : by_class_) {
    if (each.counted.size() > 1) return false;
    some = some || (each.counted.size() == 1 &&
                    each.counted.front().value != absent_value);
  }
  return some;
}

}  // namespace zelk::check
