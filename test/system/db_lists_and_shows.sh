#!/bin/bash
# Runs are listed, a result comes back byte for byte, and nothing moves a cursor.
. "$(dirname "$0")/db_common.bash"

fill 3 --expect 'node[001-004]'
db runs
expect_status 0
expect_text "3/4 +1 not expected        7  partial"
expect_no_controls stdout
db runs -w 'node[002-003]' --json
expect_text '"results":7'
db runs -w 'node9'
expect "$(wc -l <stdout)" 1

db show latest node002 cpu
expect_status 0
printf 'out \0\377\033[2J of cpu on 2\n' | cmp - stdout || fail "other bytes"
db show 1 node002 cpu --stderr
expect "$(shown)" warn
db show 1 $'\e[2Jevil' --decode
expect "$(shown)" hello

db show 1 node002
expect_status 3
expect_complaint "  node002 memory None --result "
db show 1 --result 1
expect_status 0
[ -s stdout ] || fail "nothing of result 1"
db show 1 node004 cpu
expect_status 3
expect_stderr "zelk-db: Run 1 has no result of 'node004' by 'cpu': no result arrived"
db show 1 --header
expect_text '\x1b[2Jevil'
expect_no_controls stdout
for words in info "info --json" "show 1" "show 1 nobody" "show 7"; do
  # shellcheck disable=SC2086
  db $words
  expect_no_controls stdout stderr
done
