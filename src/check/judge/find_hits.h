// All columns of a run through all rules.

#pragma once

#include <cstddef>
#include <cstdint>
#include <unordered_map>
#include <vector>

#include "src/check/judge/check_plan.h"
#include "src/check/judge/classes.h"
#include "src/check/judge/hit.h"
#include "src/check/judge/judge.h"
#include "src/check/judge/run_pair.h"
#include "src/check/judge/run_view.h"

namespace zelk::check {

// A column and class that a report may show, and how much there is to see.
struct shown_column {
  const column_view* column = nullptr;
  std::uint32_t in_class = no_class;
  bool is_odd = false;  // it has outliers
  double weight = 0;    // distributions: spread, the widest first
  std::size_t odd = 0;  // differences: nodes without the most common value
};

// By column of the baseline: the nodes of now that had trouble with it then.
using troubled =
    std::unordered_map<const column_view*, std::vector<std::uint32_t>>;

// What the checks that were asked for look at.
struct columns_seen {
  bool all = true;       // all checks were asked for
  bool answers = false;  // one was that is about the results themselves
  std::vector<std::uint8_t> columns;  // by column, unless it is all
  // By provider that they look at, then node: 1 where the result is not known,
  // and the check that tells so was not asked for.
  std::vector<std::vector<std::uint8_t>> untold;

  bool has(const run_view& run, const column_view& column) const {
    return all ||
           columns[static_cast<std::size_t>(&column - run.columns().data())] !=
               0;
  }
};

struct found_hits {
  std::vector<hit> hits;
  columns_seen seen;
  std::vector<shown_column> distributions, differences;
  std::size_t equal_facts = 0;
};

// `pair` is null without a baseline, `before` empty.
found_hits find_hits(const run_view& run, const classes& groups,
                     const run_pair* pair, const troubled& before,
                     check_plan& plan, const judge_options& options);

// Nodes that did not answer, or not well. Without columns.
void find_answer_hits(const run_view& run, const classes& groups,
                      const run_pair* pair, check_plan& plan,
                      const judge_options& options, std::vector<hit>& hits);

// Puts seen.untold.
void find_untold(const run_view& run, const check_plan& plan,
                 const judge_options& options, columns_seen& seen);

}  // namespace zelk::check
