#!/bin/bash
# No room on one host: its result comes like those of all others. What it is
# given (a configuration here) finds a place elsewhere, and when there is none at
# all, that is the reason that it is missing for.
. "$(dirname "$0")/../common.bash"
cluster fill node06

collect -w 'node[01-08]' -f $seen/hello.xml
expect_status 0
expect_run complete 8/8 8/8

collect -w 'node[01-08]' --timeout 60 -f $seen/hello.xml
expect_status 0
expect_run complete 8/8 8/8
expect_idle node01 node06

on node06 bash -c 'head -c 1G /dev/zero >/dev/shm/filler 2>/dev/null || true'
collect -w 'node[01-08]' --timeout 60 -f $seen/hello.xml
expect_status 1
expect_run partial 7/8 7/8
expect_missing node06 'no room|space'
