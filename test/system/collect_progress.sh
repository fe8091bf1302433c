#!/bin/bash
# The meter is for terminals and for those who ask for it, and never on standard
# output.
# shellcheck disable=SC2154
. "$(dirname "$0")/collect_common.bash"

describe alpha 'echo one'
describe beta "sh -c 'until [ -e $scratch/go ]; do sleep 0.1; done'"
start_collecting --progress bar
wait_for grep -qF "[############------------]  50%  1/2 results  1/1 nodes answering" stderr
wait_for grep -q "waiting: $host beta [0-9]*s" stderr
touch go
finish
expect_status 0
! grep -q '#' stdout || fail "a meter on standard output"
for words in "" "--progress lines" "--progress none" "-q"; do
  # shellcheck disable=SC2086
  collect $words
  expect_status 0
  ! grep -q $'[\r\033]' stderr || fail "control characters without a terminal"
done
