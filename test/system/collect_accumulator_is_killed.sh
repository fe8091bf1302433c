#!/bin/bash
# Without an accumulator nothing can be kept: the work ends, and says why.
# shellcheck disable=SC2154
. "$(dirname "$0")/collect_common.bash"

describe alpha "touch $scratch/begun; sleep 600"
start_collecting
wait_for test -e begun
pkill -KILL -P "$pid" -x zelk-accumulate
finish
expect_status 2
grep -q "^zelk-collect: zelk-accumulate ended in the middle of the collection (signal 9" \
  stderr || fail "it was not told"
expect_text "Collected 0 of 1 results from 0 of 1 nodes *"
expect_text "  stopped       1  $host   zelk-accumulate had ended"
expect_nothing_left
