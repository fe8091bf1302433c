// What one check found in one column, before findings are made of it.

#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "src/check/judge/classes.h"
#include "src/check/judge/definitions.h"
#include "src/check/judge/run_view.h"
#include "src/check/judge/statistics.h"

namespace zelk::check {

// Nodes with one value, or about one.
struct node_group {
  std::string value;                  // for people
  std::vector<std::uint32_t> nodes;   // ascending
  std::optional<double> number = {};  // in the fact's unit
};

enum class shape : std::uint8_t {
  odd,         // not what most of the class have
  tie,         // the class has no value that most have
  outlier,     // far from the median
  halves,      // numbers in two groups
  against,     // a fixed rule: range, value, present, absent
  same,        // not unique
  changed,     // since the baseline
  everywhere,  // changed, or grew, on most nodes
  grew,        // since the baseline
  answer,      // of the results themselves
};

struct hit {
  const check_definition* check = nullptr;
  int score = 0;
  shape what = shape::odd;
  const column_view* column = nullptr;  // null: of no fact
  std::uint32_t provider = no_provider;
  std::uint32_t in_class = no_class;
  std::vector<std::uint32_t> nodes;  // ascending
  // Where there is one: what most have, how many of how many.
  std::uint32_t reference = unknown_value;
  std::size_t same = 0;   // nodes that have the reference
  std::size_t peers = 0;  // nodes that it is made of
  spread of;
  bool by_effect_only = false;        // MAD is 0
  std::string note;                   // evidence that stands in no column
  double border = 0;                  // of halves: the least of the upper group
  std::vector<std::uint32_t> others;  // of halves: the other group, ascending
  bool blames_nobody = false;         // none of the nodes is worse for it
  std::vector<node_group> groups;  // of a tie and of halves, most nodes first
};

// Whether it is about a class or the run as a whole, not about single nodes.
inline bool is_common(shape what) {
  return what == shape::tie || what == shape::halves ||
         what == shape::everywhere;
}

}  // namespace zelk::check
