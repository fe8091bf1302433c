#!/bin/bash
# The accumulator dies: the collector says so, stops the hosts' work and does
# not end as if all were well. The datastore is whole.
. "$(dirname "$0")/../common.bash"
# shellcheck disable=SC2016
provider nap 'true; case $(hostname) in node0[1-4]) ;; *) sleep 1000 ;; esac; echo done'
four() { [ "$(query 'SELECT count(*) FROM v_result' 2>/dev/null)" = 4 ]; }

start_collect orphan -w 'node[01-08]' -f $seen/nap.xml
wait_for four
on head pkill -KILL zelk-accumulate
finish_collect "$started"
[ "$status" -ge 1 ] || fail "exit status $status"
grep -qi accumulat "$scratch/stderr.orphan" || fail "it does not say why"
expect_idle node05 node06 node07 node08 head
on head zelk-db --db /tmp/zelk.db check || fail "the datastore"
expect "$(query 'SELECT count(*) FROM v_result')" 4

# And it can be used again.
collect -w 'node[01-04]' -f $seen/hello.xml
expect_status 0
expect_run complete 4/4 4/4
