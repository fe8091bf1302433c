#!/bin/bash
# Without arguments: every provider, here, into the datastore; a summary.
# shellcheck disable=SC2154
. "$(dirname "$0")/collect_common.bash"

describe alpha 'echo one'
describe beta 'echo two; exit 3'
collect
expect_status 0
expect_stderr "1 node, 2 providers, launcher local"
expect_text "Collected 2 of 2 results from 1 of 1 nodes in * s   (run 1)"
expect_text "  no answer     0"
expect_text "  timed out     0"
expect_text "  failed        1  $host   beta: exit status 3"
expect_stored 1 alpha beta
expect_state 1 complete
expect_rows "SELECT node, stdout_size, exit_status FROM v_result ORDER BY provider" \
  "$host,4,0" "$host,4,3"
expect_rows "SELECT nodes_expected, results_expected, command_line FROM v_run" \
  "1,2,zelk-collect"
expect_nothing_left

# Another collection is another run; a selection is a selection.
collect alpha --label nightly --note ticket=4711 -q
expect_status 0
expect_stderr
expect_text "Collected 1 of 1 results * (run 2, label nightly)"
expect_stored 2 alpha
expect_rows "SELECT label, note FROM v_run WHERE run = 2" nightly,ticket=4711

# A selection that matches nothing starts nothing.
collect nosuch
expect_status 3
expect_stdout
expect_rows "SELECT count(*) FROM v_run" 2
