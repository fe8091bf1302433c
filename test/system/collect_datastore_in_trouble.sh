#!/bin/bash
# What cannot be stored is not begun.
# shellcheck disable=SC2154
. "$(dirname "$0")/collect_common.bash"

describe alpha "touch $scratch/begun"
echo "no datastore" >text
for path in /proc/nowhere/zelk.db "$scratch/text"; do
  collect --db "$path"
  expect_status 3
  expect_stdout
  grep -q "^zelk-accumulate: " stderr || fail "it was not told"
  [ ! -e begun ] || fail "it was begun"
  expect_nothing_left
done
