#!/bin/bash
# Ctrl-C twice: now. The accumulator closes the run by itself, and what ignores
# requests to end is killed all the same.
# shellcheck disable=SC2154
. "$(dirname "$0")/collect_common.bash"

describe alpha "trap '' TERM; touch $scratch/begun; while :; do sleep 1; done"
start_collecting
wait_for test -e begun
kill -s INT "$pid"
wait_for grep -q stopping stderr
before=$SECONDS
finish INT
expect_status 130
[ $((SECONDS - before)) -le 5 ] || fail "that took $((SECONDS - before)) s"
is_closed() { [ "$(sql 'SELECT state FROM v_run')" = interrupted ]; }
wait_for is_closed
wait_for nothing_runs
