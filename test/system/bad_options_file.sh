#!/bin/bash
# A provider options file that is missing or not valid ends the run.
. "$(dirname "$0")/common.sh"

config
provider memory.xml "touch $scratch/ran"
refused() {
  run -A -p "$1" -f memory.xml
  expect_status 1
  expect_stdout
  expect_line "Failed to open and validate xml $1"
  expect "$(tail -n 1 stderr)" "Failed to open and validate xml $1"
}

refused nowhere.xml
echo '<provider_options>' >torn.xml && refused torn.xml
echo '<zelk/>' >other.xml && refused other.xml
echo '<provider_options><provider name="a"><option/></provider></provider_options>' >no_id.xml
refused no_id.xml
[ ! -e ran ] || fail "a provider ran"
