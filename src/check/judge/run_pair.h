// Two runs made comparable: which node, fact and value of the baseline is which
// of now.

#pragma once

#include <cstddef>
#include <cstdint>
#include <unordered_map>
#include <vector>

#include "src/check/judge/run_view.h"

namespace zelk::check {

// A value of the baseline that no node has now.
constexpr std::uint32_t foreign_value = no_value - 2;

class run_pair {
 public:
  // Requires: both outlive this.
  run_pair(const run_view& now, const run_view& before);

  const run_view& now() const { return now_; }
  const run_view& before() const { return before_; }

  // Returns the same fact in the baseline; null when it has none, or when it
  // was read by another version of its description.
  const column_view* before_of(const column_view& column) const;

  // The other way round.
  const column_view* now_of(const column_view* column_before) const;

  // Returns the node's number in the baseline, or no_value.
  std::uint32_t node_before(std::size_t node) const {
    return node_before_[node];
  }

  // Returns what the value of that node was in the baseline, as a value of now
  // (but for measurements, which are compared as numbers):
  // an index, absent_value, foreign_value or unknown_value.
  std::uint32_t value_before(const column_view* column_before,
                             std::size_t node) const;

  // How long the runs are apart. A day at least: what happens on a day happens
  // within some minutes of it.
  double days_between() const;

  // Whether the node was restarted in between, as far as its facts tell.
  bool was_restarted(std::size_t node) const { return restarted_[node] != 0; }

 private:
  void match_nodes();
  void match_values();
  void match_made_values();
  void match_columns();
  void find_restarted();
  bool same_versions(const column_view& now, const column_view& before) const;

  const run_view& now_;
  const run_view& before_;
  std::vector<std::uint32_t> node_before_;
  std::vector<std::uint32_t> value_now_;  // by value of the baseline
  std::unordered_map<const column_view*, const column_view*> columns_, now_of_;
  std::vector<std::uint8_t> restarted_;
};

}  // namespace zelk::check
