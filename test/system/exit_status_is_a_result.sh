#!/bin/bash
# However a provider ends, its record is delivered with its exit status.
. "$(dirname "$0")/common.sh"

config
ends() {
  provider memory.xml "$1"
  run -A -l info -f memory.xml
  expect_status 0
  [ "$2" = 0 ] || expect_line "exit status from data provider 'memory' is '$2'"
  expect "$(number_at "$(results)" 4 4)" "$2"
  rm "$(results)"
}

ends 'true' 0
ends 'exit 2' 2
ends 'exit 255' 255
# shellcheck disable=SC2016
ends 'kill -KILL $$' 137
# shellcheck disable=SC2016
ends 'kill -SEGV $$' 139
ends '/no/such/command' 127
ends "$scratch/memory.xml" 126
