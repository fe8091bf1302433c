// Test support: judging by checks that are written in a few words.

#pragma once

#include <string>
#include <vector>

#include "src/check/judge/judge.h"
#include "src/check/judge/test_run_data.h"

namespace zelk::check {

// A check of one fact or pattern; `change` may be used on the result's rule.
check_definition check_of(const std::string& id, const std::string& fact,
                          rule kind, int score = 50);

judge_options default_options();

// Judges by the built-in checks, at the time of the run.
judgement judged(const run_data& now);
judgement judged(const run_data& now, const run_data& baseline);
judgement judged_by(const run_data& now,
                    const std::vector<check_definition>& checks,
                    const run_data* baseline = nullptr,
                    const judge_options& options = default_options(),
                    const std::vector<acceptance>& accepted = {},
                    const std::vector<earlier_run>& earlier = {});

// The ids of the findings, in their order; the nodes of one, joined by blanks.
std::vector<std::string> ids_of(const judgement& of);
std::string nodes_of(const finding& of);
// The first finding of that check; fails the test when there is none.
const finding& finding_of(const judgement& of, const std::string& check);
bool has_finding(const judgement& of, const std::string& check);
std::string verdict_of(const judgement& of, const std::string& node);

// Everything that is said, as text, for comparing two judgements.
std::string everything_in(const judgement& of);

}  // namespace zelk::check
