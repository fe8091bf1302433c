// One column, sorted by class and counted: what all comparisons start from.

#pragma once

#include <cstddef>
#include <cstdint>
#include <utility>
#include <vector>

#include "src/check/judge/classes.h"
#include "src/check/judge/run_view.h"

namespace zelk::check {

struct node_entry {
  std::uint32_t node = 0;
  std::uint32_t value = 0;  // an index, or absent_value
};

struct value_count {
  std::uint32_t value = 0;
  std::size_t nodes = 0;
};

struct class_values {
  std::uint32_t number = 0;          // of the class
  std::vector<node_entry> entries;   // of which something is known
  std::vector<value_count> counted;  // most nodes first, then by text
};

// Memory that is used again for each column.
class column_values {
 public:
  column_values(const run_view& run, const classes& groups);

  void take(const column_view& column);

  const std::vector<class_values>& by_class() const { return by_class_; }

  // How many values there are in each class: 1 where all nodes agree.
  bool is_equal_everywhere() const;

 private:
  void count(class_values& of);

  const run_view& run_;
  const classes& groups_;
  std::vector<class_values> by_class_;
  std::vector<std::uint32_t> counts_;  // by value; absent_value last
};

}  // namespace zelk::check
