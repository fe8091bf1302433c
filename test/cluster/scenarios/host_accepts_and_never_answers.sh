#!/bin/bash
# A host whose kernel accepts connections while none of its processes moves.
. "$(dirname "$0")/../common.bash"
cluster pause node04

begin=$SECONDS
collect -w "$all_nodes" -f $seen/hello.xml
expect_status 1
expect_run partial 15/16 15/16
expect_missing node04 'timed out|no answer'
[ $((SECONDS - begin)) -lt 60 ] || fail "it took $((SECONDS - begin)) s"

# It stops in the middle of its work.
cluster resume node04
provider nap 'sleep 3; echo awake'
start_collect nap -w 'node[01-04]' --timeout 2 -f $seen/nap.xml
wait_for on node04 pgrep -f 'sleep 3' >"$scratch/stdout"
cluster pause node04
finish_collect "$started"
expect_status 1
expect_run partial 3/4 3/4
expect_missing node04 .
