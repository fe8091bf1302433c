#!/bin/bash
# An endpoint that cannot be connected to ends before any provider runs.
. "$(dirname "$0")/common.sh"

config
provider memory.xml "touch $scratch/ran"
for endpoint in nonsense tcp:// tcp://127.0.0.1 'tcp://%s%n:1' \
    tcp://127.0.0.1:0 tcp://127.0.0.1:99999 tcp://127.0.0.1:12ab tcp://:80 inproc://here; do
  run -e "$endpoint" -f memory.xml
  expect_status 1
  expect_stdout
  expect_stderr "Unable to connect to the accumulate server (22): Invalid argument"
done
run -e carrier_pigeon://loft -f memory.xml
expect_status 1
expect_stderr "Unable to connect to the accumulate server (93): Protocol not supported"

run -e nonsense -l debug -f memory.xml
expect_line "Data will be sent to nonsense"
[ ! -e ran ] || fail "a provider ran"
