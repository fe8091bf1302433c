#!/bin/bash
# -l takes exact names only; the last good one counts.
. "$(dirname "$0")/common.sh"

config
provider memory.xml 'exit 3'
info="exit status from data provider 'memory' is '3'"

for quiet in "" "-l DEBUG" "-l nonsense" "-l debug -l warning" "-l info -l error"; do
  # shellcheck disable=SC2086
  run -A $quiet -f memory.xml
  expect_status 0
  expect_stderr
done

run -A -l info -f memory.xml
expect_stderr "$info"
run -A -l error -l info -l INFO -f memory.xml
expect_stderr "$info"
run -A -l debug -f memory.xml
expect_line "$info"
expect_line "About to run data provider 'ZELK_TIMEOUT=60 exit 3'. Command will time out in 60 second(s)."
