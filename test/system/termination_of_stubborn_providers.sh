#!/bin/bash
# Processes that ignore the signal, or left the group, are ended as well.
. "$(dirname "$0")/common.sh"

config
cat >stubborn <<'END'
trap '' TERM INT
setsid sh -c 'trap "" TERM INT; touch one; while :; do sleep 1000; done' &
timeout 1000 sleep 1000 &
(sh -c 'nohup sleep 1000 >/dev/null 2>&1 & touch two' &)
while [ ! -e one ] || [ ! -e two ]; do sleep 0.05; done
touch begun
sleep 1000
END
provider stubborn.xml 'sh stubborn'
for signal in INT:2 TERM:15; do
  rm -f one two begun
  start -A -f stubborn.xml
  wait_for test -e begun
  finish "${signal%:*}"
  expect_status "${signal#*:}"
  expect_stderr "" "zelk_run_provider: caught signal. Cleaning up."
  expect "$(tagged)" ""
done
