#include "src/check/report/status.h"

#include <gtest/gtest.h>

#include "src/check/test_judgement.h"

namespace zelk::check {
namespace {

judgement with_worst(int score) {
  judgement judged = example_judgement();
  judged.findings = {finding{}};
  judged.findings.front().score = score;
  judged.findings.front().level = severity_of(score);
  return judged;
}

TEST(exit_status, is_that_of_the_worst_finding) {
  EXPECT_EQ(exit_status(example_judgement()), 2);
  EXPECT_EQ(exit_status(with_worst(74)), 1);
  EXPECT_EQ(exit_status(with_worst(24)), 0);
}

TEST(exit_status, is_fine_without_findings) {
  judgement judged = example_judgement();
  judged.findings.clear();
  EXPECT_EQ(exit_status(judged), 0);
}

TEST(exit_status, hears_of_nothing_below_the_threshold) {
  EXPECT_EQ(exit_status(with_worst(50), fail_on::critical), 0);
  EXPECT_EQ(exit_status(with_worst(75), fail_on::critical), 2);
  EXPECT_EQ(exit_status(with_worst(100), fail_on::never), 0);
}

TEST(exit_status, cannot_tell_of_a_run_without_nodes) {
  EXPECT_EQ(exit_status(judgement{}), 3);
  EXPECT_EQ(exit_status(judgement{}, fail_on::never), 3);
}

TEST(exit_status, cannot_tell_when_no_node_was_judged) {
  judgement judged = with_worst(50);
  for (node_view& node : judged.nodes)
    node.what = verdict::unknown;
  EXPECT_EQ(exit_status(judged), 3);
}

// A run of last year says nothing of today, even if it is a finding that it is
// of last year.
TEST(exit_status, cannot_tell_when_all_is_too_old) {
  judgement judged = with_worst(50);
  for (node_view& node : judged.nodes) {
    node.what = verdict::suspect;
    node.cells = {cell_state::stale, cell_state::not_applicable};
  }
  EXPECT_EQ(exit_status(judged), 3);
  judged.nodes.front().cells.front() = cell_state::warn;
  EXPECT_EQ(exit_status(judged), 1);
}

TEST(exit_status, calls_a_silent_cluster_critical) {
  judgement judged = with_worst(90);
  for (node_view& node : judged.nodes) {
    node.what = verdict::unhealthy;
    node.cells = {cell_state::crit, cell_state::no_data};
  }
  EXPECT_EQ(exit_status(judged), 2);
}

TEST(read_fail_on, knows_three_words) {
  EXPECT_EQ(read_fail_on("warning"), fail_on::warning);
  EXPECT_EQ(read_fail_on("critical"), fail_on::critical);
  EXPECT_EQ(read_fail_on("never"), fail_on::never);
  EXPECT_FALSE(read_fail_on("Warning"));
}

TEST(exit_status, counts_only_what_is_new_when_asked_for) {
  judgement judged = example_judgement();
  EXPECT_EQ(exit_status(judged, fail_on::warning, true), status_critical);
  for (finding& each : judged.findings)
    each.state = finding_state::unchanged;
  EXPECT_EQ(exit_status(judged, fail_on::warning, true), status_fine);
  EXPECT_EQ(exit_status(judged, fail_on::warning, false), status_critical);
  judged.findings.front().state = finding_state::fresh;
  EXPECT_EQ(exit_status(judged, fail_on::warning, true), status_critical);
  judged.nodes.clear();
  EXPECT_EQ(exit_status(judged, fail_on::never, true), status_cannot_tell);
}

}  // namespace
}  // namespace zelk::check
