// Hits to findings: with their state against the baseline, since when they are
// there, whether they are accepted, and in words.

#pragma once

#include <cstdint>
#include <string>
#include <unordered_set>
#include <vector>

#include "src/check/judge/classes.h"
#include "src/check/judge/hit.h"
#include "src/check/judge/judge.h"
#include "src/check/judge/run_pair.h"
#include "src/check/judge/run_view.h"
#include "src/check/judgement.h"

namespace zelk::check {

// A finding, and the cells of the reports that it stands in.
struct made_finding {
  finding what;
  std::vector<std::uint32_t> nodes;  // for which it is not accepted, if any
  // Provider and node; a part of a finding may be of another provider.
  std::vector<std::pair<std::uint32_t, std::uint32_t>> cells, accepted_cells;
  bool is_of_answers = false;
  // Keys of its troubles, for finding out since when it is there.
  std::vector<std::uint64_t> troubles;
};

using trouble_set = std::unordered_set<std::uint64_t>;

// Returns the keys of all troubles of `hits`.
trouble_set troubles_of(const std::vector<hit>& hits, const run_view& run,
                        const classes& groups);

struct finding_maker {
  const run_view& run;
  const classes& groups;
  const run_pair* pair = nullptr;  // null: no baseline
  const trouble_set* before = nullptr;
  const std::vector<acceptance>& acceptances;
  std::int64_t now_usec = 0;
  double min_effect = 5;  // percent by which a number must move to have changed

  // The worst first.
  std::vector<made_finding> make(const std::vector<hit>& hits) const;
};

// Those of the baseline's hits that are gone: only on nodes that were judged
// again. They are told as they were then.
std::vector<made_finding> make_fixed(const std::vector<hit>& hits_before,
                                     const classes& groups_before,
                                     const trouble_set& now,
                                     const run_pair& pair);

// Puts the oldest run of `earlier` that had it without a gap, or `run` itself.
// `earlier` is in order, the newest first; nothing is put when it is empty.
struct known_run {
  run_name name;
  std::vector<std::uint64_t> troubles;  // ascending
};
void put_since(made_finding& into, const std::vector<known_run>& earlier,
               const run_name& run);

}  // namespace zelk::check
