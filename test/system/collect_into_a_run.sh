#!/bin/bash
# --into launches only what the run has not got.
# shellcheck disable=SC2154
. "$(dirname "$0")/collect_common.bash"

config '<provider_options><provider name="beta">
  <option id="quick"><variable name="SIZE">4</variable></option>
  <option id="full"><variable name="SIZE">9</variable></option>
</provider></provider_options>'
describe alpha "echo alpha >>$scratch/ran"
describe beta "sh -c 'echo beta \$SIZE >>$scratch/ran'"
collect alpha
expect_status 0
collect --into latest
expect_status 0
expect_text "Collected 2 of 2 results from 1 of 1 nodes * (run 1)"
expect "$(cat ran)" "$(printf 'alpha\nbeta 4\nbeta 9')"
expect_stored 1 alpha beta beta
expect_state 1 complete

# Nothing is missing: nothing is launched, and all is well.
collect --into 1
expect_status 0
expect_text "Collected 0 of 0 results *"
expect "$(wc -l <ran)" 3

collect --into 7
expect_status 3
expect_stdout
grep -q "^zelk-accumulate: .*7" stderr || fail "it was not told"
