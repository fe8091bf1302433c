#!/bin/bash
# From the pid file on, no moment of a run takes a signal amiss.
. "$(dirname "$0")/common.sh"

config
provider slow.xml "sleep 1000"
for round in {0..29}; do
  rm -f "$root/etc/pidfile_$host"
  start -A -f slow.xml
  until [ -s "$root/etc/pidfile_$host" ]; do :; done
  for ((spin = 0; spin < round * 300; spin++)); do :; done
  finish TERM
  expect_status 15
  expect_stdout
  expect_stderr "" "zelk_run_provider: caught signal. Cleaning up."
  expect "$(tagged)" ""
done
expect_results 0
