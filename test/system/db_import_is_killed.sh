#!/bin/bash
# An import that is killed at any moment is completed by repeating it.
. "$(dirname "$0")/db_common.bash"

fill 4000
db export 1 -o run.zelk.tar.zst
ZELK_DB=$scratch/second.db
db init
for ((i = 1; i <= 20; i++)); do
  "$db_program" import run.zelk.tar.zst -q &
  sleep "0.$(printf %03d $((RANDOM % 400)))"
  kill -KILL $! 2>/dev/null || true
  wait $! 2>/dev/null || true
done
db import run.zelk.tar.zst
expect_status 0
db query 'SELECT results, state FROM v_run' --format jsonl
expect_stdout '{"results":8001,"state":"complete"}'
db check
expect_stdout "no fault found"
