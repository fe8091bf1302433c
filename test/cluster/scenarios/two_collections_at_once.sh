#!/bin/bash
# Two collections of the same hosts into the same datastore: two complete runs,
# and no result in the wrong one.
. "$(dirname "$0")/../common.bash"
provider other 'echo other'

start_collect one -w "$all_nodes" --label one -f $seen/hello.xml
first=$started
start_collect two -w "$all_nodes" --label two -f $seen/other.xml
second=$started
finish_collect "$first"
expect_status 0
finish_collect "$second"
expect_status 0
expect "$(query 'SELECT count(*) FROM v_run')" 2
expect "$(query "SELECT label, state, results FROM v_run ORDER BY label" | paste -sd' ')" \
  "one,complete,16 two,complete,16"
expect "$(query "SELECT DISTINCT label, provider FROM v_result JOIN v_run USING (run)
  ORDER BY label" | paste -sd' ')" "one,hello two,other"
