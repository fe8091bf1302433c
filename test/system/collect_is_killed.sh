#!/bin/bash
# A collector that dies leaves nothing running and no run that seems to go on; a
# second one fills the run.
# shellcheck disable=SC2154
. "$(dirname "$0")/collect_common.bash"

describe alpha 'echo one'
describe beta "touch $scratch/begun; [ -e $scratch/repaired ] || sleep 600"
start_collecting
wait_for test -e begun
finish KILL
expect_status 137
is_closed() { [ "$(sql 'SELECT state FROM v_run')" = interrupted ]; }
wait_for is_closed
wait_for nothing_runs
expect_stored 1 alpha

touch repaired
collect --into 1
expect_status 0
expect_text "Collected 1 of 1 results from 1 of 1 nodes * (run 1)"
expect_stored 1 alpha beta
expect_state 1 complete
