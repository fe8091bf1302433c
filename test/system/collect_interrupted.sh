#!/bin/bash
# Ctrl-C: the work ends, what has come is kept, the run says what happened.
# shellcheck disable=SC2154
. "$(dirname "$0")/collect_common.bash"

describe alpha 'echo one'
describe beta "touch $scratch/begun; sleep 600"
describe gamma "touch $scratch/too_late"
arrived() { [ "$(sql 'SELECT count(*) FROM v_result')" = 1 ]; }
for signal in INT TERM; do
  rm -f begun zelk.db*
  start_collecting
  wait_for test -e begun
  wait_for arrived
  finish "$signal"
  expect_status $((128 + $(kill -l "$signal")))
  expect_line "stopping (again to abandon) …"
  expect_text "Collected 1 of 3 results * (run 1, interrupted)"
  expect_text "  stopped       1  $host   beta, gamma: interrupted"
  expect_stored 1 alpha
  expect_state 1 interrupted
  expect_rows "SELECT provider, reason FROM v_missing ORDER BY 1" \
    beta,interrupted gamma,interrupted
  expect_nothing_left
done
[ ! -e too_late ] || fail "it went on"
