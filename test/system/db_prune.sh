#!/bin/bash
# Old runs go when that is agreed; labelled, new and running ones stay.
. "$(dirname "$0")/db_common.bash"

for label in one '' two ''; do
  rm -rf spool
  sleep 0.01
  fill 2 --run new --label "$label"
done
numbers() { "$db_program" query 'SELECT run FROM v_run ORDER BY run' --format csv | xargs; }
before=$(numbers)
db prune
expect_status 3
db prune --keep 1
expect_status 3
expect_complaint "--yes"
db prune --keep 1 --dry-run
expect_status 0
expect "$(numbers)" "$before"
db prune --keep 1d --yes
expect_stdout "nothing to remove"
db prune --keep 1 --yes
expect_status 0
expect "$(numbers)" "run 1 3 4"
db check
expect_status 0
db prune --keep 0 --keep-label two --yes
expect "$(numbers)" "run 3"
db vacuum
expect_status 0
db check
expect_stdout "no fault found"
# A terminal is asked.
echo n | script -qec "$db_program prune 3 --keep-label none" typescript >/dev/null || true
grep -q 'for good? \[y/N\]' typescript || fail "no question"
expect "$(numbers)" "run 3"
