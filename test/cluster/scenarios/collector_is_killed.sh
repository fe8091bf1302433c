#!/bin/bash
# The collector dies by SIGKILL in the middle of a run: nothing is left running
# on the hosts, what has arrived is kept, and a second collection fills the run.
. "$(dirname "$0")/../common.bash"
# shellcheck disable=SC2016
provider nap '[ -e /tmp/fast ] || case $(hostname) in node0[1-4]) ;; *) sleep 1000 ;; esac; echo done'

start_collect doomed -w 'node[01-08]' -f $seen/nap.xml
four() { [ "$(query 'SELECT count(*) FROM v_result' 2>/dev/null)" = 4 ]; }
wait_for four
signal_collect doomed KILL
finish_collect "$started"
expect_status 137
expect_idle node05 node06 node07 node08 head
expect_run interrupted 4/8 4/8

for host in node0{5..8}; do on "$host" touch /tmp/fast; done
collect -w 'node[05-08]' --into latest -f $seen/nap.xml
expect_status 0
expect "$(query 'SELECT count(*) FROM v_run')" 1
expect "$(query 'SELECT count(DISTINCT node) FROM v_result')" 8
expect "$(query 'SELECT count(*) FROM v_missing')" 0
