#!/bin/bash
# Further signals cut the providers' respite short and repeat nothing.
. "$(dirname "$0")/common.sh"

config
provider slow.xml "sh -c 'trap \"\" TERM INT; touch $scratch/begun; while :; do sleep 1000; done'"
start -A -f slow.xml
wait_for test -e begun
begin=$SECONDS
kill -s INT "$pid"
wait_for grep -q 'caught signal' stderr
signalled_to_the_end() { ! kill -s TERM "$pid" 2>/dev/null; }
wait_for signalled_to_the_end
finish
expect_status 2
expect_stderr "" "zelk_run_provider: caught signal. Cleaning up."
expect "$(tagged)" ""
# What ignores SIGTERM has five seconds otherwise.
[ $((SECONDS - begin)) -lt 4 ] || fail "$((SECONDS - begin)) seconds"
