#!/bin/bash
# The first Ctrl-C ends the remote work and keeps what has arrived; the second
# one does not wait for anything.
. "$(dirname "$0")/../common.bash"
# shellcheck disable=SC2016
provider nap 'true; case $(hostname) in node0[1-4]) ;; *) sleep 1000 ;; esac; echo done'
four() { [ "$(query 'SELECT count(*) FROM v_result' 2>/dev/null)" = 4 ]; }

start_collect one -w 'node[01-08]' -f $seen/nap.xml
wait_for four
signal_collect one INT
finish_collect "$started"
expect_status 130
expect_idle node05 node06 node07 node08 head
expect_run interrupted 4/8 4/8

# These workers need five seconds to end a provider that does not want to.
provider long 'trap "" TERM; sleep 1000; sleep 1000'
start_collect two -w 'node[05-08]' -f $seen/long.xml
wait_for on node05 pgrep -f 'sleep 1000' >"$scratch/stdout"
signal_collect two INT
wait_for grep -q stopping "$scratch/stderr.two"
signal_collect two INT
finish_collect "$started"
expect_status 130
expect_idle node05 node06 node07 node08 head
