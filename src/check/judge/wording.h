// One line of evidence for a finding, and the values of its nodes.

#pragma once

#include <optional>
#include <string>
#include <vector>

#include "src/check/judge/classes.h"
#include "src/check/judge/grouping.h"
#include "src/check/judge/run_pair.h"
#include "src/check/judge/run_view.h"
#include "src/check/judgement.h"

namespace zelk::check {

// The limit that a hit is about.
std::optional<allowed_numbers> limit_of(const hit& what);

struct wording {
  const run_view& run;
  const classes& groups;
  const run_pair* pair = nullptr;  // null: nothing is known of before

  // What the group's leading hit says of its nodes, in their order.
  std::vector<node_value> values_of(const hit_group& group) const;

  // What the others have: "256 GiB"; "" where there is no such thing.
  std::string reference_of(const hit& what) const;

  // The same as a number, in the fact's unit.
  std::optional<double> reference_number_of(const hit& what) const;

  // "mem.total: 224 GiB; 94 of 95 class A peers have 256 GiB".
  std::string message_of(const hit_group& group,
                         const std::vector<node_value>& values) const;

 private:
  node_value value_of(const hit& what, std::uint32_t node) const;
  std::string evidence(const hit_group& group,
                       const std::vector<node_value>& values) const;
  std::string tie_words(const hit& what) const;
  std::string growth_words(const hit& what, const node_value& of) const;
  std::string odd_words(const hit& what, const std::string& values) const;
  std::string outlier_words(const hit& what,
                            const std::vector<node_value>& values) const;
  std::string change_words(const hit& what,
                           const std::vector<node_value>& values) const;
  std::string answer_words(const hit_group& group) const;
  std::string class_word(const hit& what) const;
  std::string fact_words(const hit_group& group) const;
};

}  // namespace zelk::check
