#!/bin/bash
# Results that nobody takes are dropped after ZELK_COLLECT_LINGER.
. "$(dirname "$0")/common.sh"

config
provider a.xml 'echo a'
provider b.xml "sh -c 'while kill -0 \$(cat receiver) 2>/dev/null; do sleep 0.05; done; echo b'"
endpoint=ipc://$scratch/socket
listen 1 "$endpoint"
echo "$receiver" >receiver
ZELK_COLLECT_LINGER=200 start -e "$endpoint" -f a.xml -f b.xml
wait "$receiver" || fail "the receiver"
finish
expect_status 0
expect_stderr
expect "$(cat frames/1.frame2)" a
