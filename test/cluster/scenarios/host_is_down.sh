#!/bin/bash
# A host without power, one whose cable is out, and a name that nobody knows
# cost their own results and nobody else's.
. "$(dirname "$0")/../common.bash"
cluster kill node03
cluster link node05 down

collect -w "$all_nodes",node99 -f $seen/hello.xml
expect_status 1
expect_run partial 14/17 14/17
expect_missing node03 'timed out|no route'
expect_missing node05 'timed out|no route'
expect_missing node99 'resolve'
expect_output 'node99'

# Powered on again, they fill the gaps of the same run.
cluster start node03
cluster link node05 up
# The head's kernel still answers for them: it asked for their addresses in vain.
for host in node0{3,5}; do wait_for on head ssh -o ConnectTimeout=1 "$host" true 2>"$scratch/stderr"; done
collect -w 'node[03,05]' --into latest -f $seen/hello.xml
expect "$(query 'SELECT count(*) FROM v_run')" 1
expect_run partial 16/17 16/17

# None answers: nothing was achieved.
cluster kill node03
collect -w node03 -f $seen/hello.xml
expect_status 2
