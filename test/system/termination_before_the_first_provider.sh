#!/bin/bash
# A signal before the first command runs ends the worker with its number.
. "$(dirname "$0")/common.sh"

config
provider pair.xml "touch $scratch/ran" '<requires min_nodes="2" max_nodes="2"/>'
mkfifo nodes  # nobody writes: the node file is waited for
for signal in INT:2 TERM:15; do
  rm -f "$root/etc/pidfile_$host"
  start -A -n nodes -f pair.xml
  wait_for test -s "$root/etc/pidfile_$host"
  finish "${signal%:*}"
  expect_status "${signal#*:}"
  expect_stdout
  expect_stderr "" "zelk_run_provider: caught signal. Cleaning up."
done
[ ! -e ran ] || fail "a provider ran"
