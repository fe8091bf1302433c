#!/bin/bash
# A node without the worker is a result: nothing came, and this is why.
# shellcheck disable=SC2154
. "$(dirname "$0")/collect_common.bash"

describe alpha 'echo one'
mkdir -p elsewhere/bin
cp "$tree"/bin/zelk-{collect,accumulate,db} elsewhere/bin/
collector=$scratch/elsewhere/bin/zelk-collect
collect
expect_status 2
expect_text "Collected 0 of 1 results from 0 of 1 nodes *"
expect_text "  no worker     1  $host   *elsewhere/bin/zelk_run_provider*"
expect_text "  zelk-collect --doctor -w $host *find out why"
expect_state 1 partial
expect_rows "SELECT node, provider FROM v_missing WHERE provider <> ''" \
  "$host,alpha"
[[ $(sql "SELECT reason FROM v_missing LIMIT 1") == *zelk_run_provider* ]] || fail "no reason"
expect_nothing_left
