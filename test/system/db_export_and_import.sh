#!/bin/bash
# A run moves between datastores whole, once, and as a file that tar can check.
. "$(dirname "$0")/db_common.bash"

fill 20 --expect 'node[001-022]'
db export latest -o run.zelk.tar.zst
expect_status 0
mkdir unpacked
tar --zstd -xf run.zelk.tar.zst -C unpacked
(cd unpacked && sha256sum --quiet -c SHA256SUMS) || fail "sums"
first=$ZELK_DB
export ZELK_DB=$scratch/second.db
db import run.zelk.tar.zst
expect_status 3 # there is no datastore yet
db init
db import run.zelk.tar.zst
expect_status 0
expect_text "1 new run and 41 new results"
db import run.zelk.tar.zst
expect_text "0 new runs and 0 new results; 1 and 41 were there"
db check
expect_status 0
db export 1 -o again.zelk.tar.zst
cmp run.zelk.tar.zst again.zelk.tar.zst || fail "not the same file"

# Damaged anywhere: nothing of it is taken.
ZELK_DB=$scratch/third.db
db init
size=$(stat -c %s run.zelk.tar.zst)
for cut in 0 1 100 $((size / 2)) $((size - 1)); do
  head -c "$cut" run.zelk.tar.zst >part
  db import part
  expect_status 2
  expect_complaint "Refused 'part'"
done
db runs
expect "$(wc -l <stdout)" 1
ZELK_DB=$first
db import run.zelk.tar.zst
expect_text "0 new runs and 0 new results"
