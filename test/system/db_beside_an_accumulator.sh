#!/bin/bash
# Whatever writes gets its turn while results pour in, and none is lost.
# shellcheck disable=SC2034,SC2086
. "$(dirname "$0")/db_common.bash"

fill 300 --run new
db export 1 -o run.zelk.tar.zst
mkdir spool2
"$accumulate" scan --watch spool2 --run new --poll-interval 0.05 -q \
  --ready-fd 3 3>ready &
pid=$!
wait_for grep -q READY ready
/usr/bin/python3 "$here/write_results.py" spool2 3000 &
number=1
for _ in 1 2 3; do
  for words in "prune $number --yes" vacuum "check --repair" "import run.zelk.tar.zst"; do
    db $words
    expect_status 0
  done
  number=$(sed -n 's/^  run \([0-9]*\) .*/\1/p' stdout)
done
wait $!
empty() { [ -z "$(ls spool2)" ]; }
wait_for empty
finish TERM
db query 'SELECT results FROM v_run WHERE run = 2' --format jsonl
expect_stdout '{"results":6001}'
db check
expect_stdout "no fault found"
# One that holds the lock and does not end is complained about, not waited for.
ZELK_TEST_TAG=$scratch python3 -c '
import os, sqlite3, time
base = sqlite3.connect(os.environ["ZELK_DB"], isolation_level=None)
base.execute("BEGIN IMMEDIATE")
print("locked", flush=True)
time.sleep(600)' >locked &
wait_for grep -q locked locked
db vacuum --wait 1
expect_status 2
expect_complaint "another process is writing"
