#!/bin/bash
# A signal while a provider floods both streams leaves no process behind.
. "$(dirname "$0")/common.sh"

config
provider flood.xml "touch $scratch/begun; yes & yes >&2"
provider later.xml "touch $scratch/ran"
for signal in INT:2 TERM:15; do
  rm -f begun
  start -A -f flood.xml -f later.xml
  wait_for test -e begun
  expect "$(tagged | wc -l | sed 's/^[3-9]$/some/')" some
  finish "${signal%:*}"
  expect_status "${signal#*:}"
  expect_stderr "" "zelk_run_provider: caught signal. Cleaning up."
  expect "$(tagged)" ""
done
[ ! -e ran ] || fail "the next provider ran"
expect_results 0
