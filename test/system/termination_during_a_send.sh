#!/bin/bash
# A signal ends a worker that waits for a receiver that never comes.
. "$(dirname "$0")/common.sh"

config
provider memory.xml 'head -c 1000000 /dev/zero'
waits() { grep -q '^nodes (' stderr; }
for signal in INT:2 TERM:15; do
  start -e tcp://127.0.0.1:1 -l debug -f memory.xml
  wait_for waits
  kill -s 0 "$pid" || fail "it did not wait"
  finish "${signal%:*}"
  expect_status "${signal#*:}"
  expect "$(grep -c 'caught signal' stderr)" 1
done
