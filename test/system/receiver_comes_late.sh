#!/bin/bash
# By default the end of a run waits until somebody takes the results.
. "$(dirname "$0")/common.sh"

config
provider a.xml 'echo a'
provider b.xml 'head -c 5000000 /dev/zero'
endpoint=ipc://$scratch/socket
sent() { grep -q "^Name: b" stderr; }
start -e "$endpoint" -l debug -f a.xml -f b.xml
wait_for sent
kill -s 0 "$pid" || fail "it did not wait"
listen 2 "$endpoint"
finish
expect_status 0
wait "$receiver" || fail "the receiver"
expect "$(cat frames/1.frame2)" a
expect "$(stat -c %s frames/2.frame2)" 5000000
