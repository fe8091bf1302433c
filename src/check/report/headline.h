// What a report for people begins with: which run, how it stands, and what was
// left out of it.

#pragma once

#include <string>
#include <vector>

#include "src/check/judgement.h"
#include "src/check/report/display.h"

namespace zelk::check {

// "UNHEALTHY", ...; "INCOMPLETE" where nothing wrong was found but of some node
// it cannot be told, because that is not the same as health.
std::string headline_word(const judgement& judged);
ink headline_ink(const judgement& judged);

// "UNHEALTHY   5 unhealthy   6 suspect   125 healthy   of 136 nodes"
std::string verdict_line(const judgement& judged, look how);

// "Run 412 "nightly", collected 2025-11-21 02:00..02:05 (3 h ago), 136 nodes in
// 3 classes".
std::string run_line(const judgement& judged);

// "Baseline: run 391 (2025-11-01)", with a word when it is not an earlier one;
// "" without.
std::string baseline_line(const judgement& judged);

// What keeps this from being about everything: a run that goes on or was
// interrupted, checks that were chosen or left out. A line each.
std::vector<std::string> restrictions(const judgement& judged);

}  // namespace zelk::check
