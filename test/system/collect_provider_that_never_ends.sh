#!/bin/bash
# It costs its own result, after a limit that can be set; those behind it come.
# shellcheck disable=SC2154
. "$(dirname "$0")/collect_common.bash"

describe alpha 'echo one'
describe beta 'trap "" TERM; while :; do sleep 1; done'
describe gamma 'echo three'
collect --timeout 1
expect_status 1
expect_text "Collected 2 of 3 results from 1 of 1 nodes in * s   (run 1)"
expect_text "  timed out     1  $host   beta: stopped after * s (limit 1 s from --timeout)"
expect_text "  zelk-collect --timeout 1 --into 1 -w $host *fill the gaps into the same run"
expect_stored 1 alpha gamma
expect_state 1 partial
expect_rows "SELECT node, provider, option_id FROM v_missing" "$host,beta,None"
[[ $(sql "SELECT reason FROM v_missing") == "stopped after "* ]] || fail "no reason"
expect_nothing_left
