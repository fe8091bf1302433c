#!/bin/bash
# Asynchronous delivery: workers write files, which then are in the run; files of
# others that lie there are not.
# shellcheck disable=SC2154
. "$(dirname "$0")/collect_common.bash"

describe alpha 'echo one'
describe beta "touch $scratch/begun; [ -e $scratch/repaired ] || sleep 600"
"$worker" -A -H other -f "$root/etc/providers/alpha.xml"
expect_results 1
collect --async --launcher local alpha
expect_status 0
expect_results 0
expect_text "Collected 1 of 1 results from 1 of 1 nodes * (run 1)"
expect_rows "SELECT run, host_arg FROM v_result ORDER BY 1" "1,$host" "2,other"
expect_state 1 complete

# Another directory, and a node that does not finish.
mkdir "$scratch/shared"
collect --async --launcher local --shared-directory "$scratch/shared" --timeout 1
expect_status 1
expect_text "Collected 1 of 2 results from 1 of 1 nodes *"
expect_text "  timed out     1  $host   beta: *"
expect_nothing_left
