// From a run to what is said of it. A pure function: it reads no file and no
// clock, and the same input gives the same judgement whatever its order.

#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "src/check/judge/definitions.h"
#include "src/check/judge/range.h"
#include "src/check/judgement.h"
#include "src/check/run_data.h"

namespace zelk::check {

// Whom a node is compared with.
enum class peers_by : std::uint8_t { class_, role, subcluster, all, none };

// A fixed limit of the command line: a fact's name or pattern, and its range.
struct metric_limit {
  std::string metric;
  range allowed;
  std::string text;  // as typed: "clock.offset=~:1"
};

struct judge_options {
  double z = 3.5;         // robust z from which a value is an outlier
  double min_effect = 5;  // percent of the median
  std::size_t min_peers = 5;
  peers_by by = peers_by::class_;
  std::int64_t max_age_usec = std::int64_t{7} * 86400 * 1000000;  // 0: any
  std::int64_t now_usec = 0;            // the time that ages are told from
  int unreachable_score = 90;           // of a node that gives no answer at all
  std::vector<std::string> only, skip;  // ids of checks, or patterns of them
  std::vector<metric_limit> limits;
  bool quick_only = false;  // only checks that are marked quick (--local)
};

// What is kept of the judgement of an earlier run.
struct earlier_run {
  run_info run;
  verdict_counts counts;
  std::vector<std::pair<std::string, verdict>> nodes;  // not healthy, ordered
  std::vector<std::string> fingerprints;               // of its troubles
};
earlier_run remember(const judgement& of);

// Returns what is said of `now`, against `baseline` when it is not null.
// `earlier` in any order: those before `now` make the history.
judgement judge(const run_data& now, const run_data* baseline,
                const std::vector<earlier_run>& earlier,
                const check_set& checks,
                const std::vector<acceptance>& acceptances,
                const judge_options& options);

// Reads "METRIC=RANGE". Returns nothing when it is none, and puts what was
// expected into `problem`.
std::optional<metric_limit> read_limit(std::string_view text,
                                       std::string& problem);

// "class", "role", "subcluster", "all", "none".
const char* name_of(peers_by by);
std::optional<peers_by> peers_by_of(std::string_view name);

}  // namespace zelk::check
