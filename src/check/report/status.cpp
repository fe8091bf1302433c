#include "src/check/report/status.h"

#include <algorithm>

namespace zelk::check {

namespace {

// What is too old to be judged, and what was never asked for, is no statement.
bool says_something(cell_state cell) {
  return cell != cell_state::stale && cell != cell_state::not_applicable;
}

// That a node answered at all says nothing of what it answered.
bool is_about_reach(const judgement& judged) {
  return !judged.columns.empty() && judged.columns.front() == "reach";
}

bool was_judged(const node_view& node, bool with_reach) {
  if (node.what == verdict::unknown) return false;
  const bool answered =
      with_reach && !node.cells.empty() && node.cells.front() == cell_state::ok;
  return node.cells.empty() ||
         std::any_of(node.cells.begin() + (answered ? 1 : 0), node.cells.end(),
                     says_something);
}

int status_of(severity level) {
  switch (level) {
    case severity::informational:
      return status_fine;
    case severity::warning:
      return status_warning;
    case severity::critical:
      return status_critical;
  }
  return status_cannot_tell;
}

}  // namespace

std::optional<fail_on> read_fail_on(std::string_view word) {
  if (word == "warning") return fail_on::warning;
  if (word == "critical") return fail_on::critical;
  if (word == "never") return fail_on::never;
  return {};
}

bool anything_judged(const judgement& judged) {
  const bool with_reach = is_about_reach(judged);
  return std::any_of(
      judged.nodes.begin(), judged.nodes.end(),
      [&](const node_view& node) { return was_judged(node, with_reach); });
}

bool goes_on(const run_info& run) {
  return run.state == "running";
}

int exit_status(const judgement& judged, fail_on threshold, bool only_new) {
  if (!anything_judged(judged)) return status_cannot_tell;
  int worst = judged.counts.unknown > 0 || goes_on(judged.run) ? status_warning
                                                               : status_fine;
  for (const finding& found : judged.findings)
    if (!only_new || found.state == finding_state::fresh)
      worst = std::max(worst, status_of(found.level));
  if (threshold == fail_on::never) return status_fine;
  if (threshold == fail_on::critical && worst < status_critical)
    return status_fine;
  return worst;
}

}  // namespace zelk::check
