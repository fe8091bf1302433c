#!/bin/bash
# Sending without an endpoint ends before any provider runs.
. "$(dirname "$0")/common.sh"

config
provider memory.xml "touch $scratch/ran"
for endpoint in "" "-e ''"; do
  eval "run -f memory.xml $endpoint"
  expect_status 1
  expect_stdout
  expect_stderr "The accumulate server endpoint is unknown."
done
[ ! -e ran ] || fail "a provider ran"

# Asynchronous mode needs none.
run -A -f memory.xml
expect_status 0
