#!/bin/bash
# What a provider leaves in the background is ended with its run.
. "$(dirname "$0")/common.sh"

config
provider daemon.xml 'setsid sleep 1000 >/dev/null 2>&1 & echo done; exit 3'
provider holder.xml 'setsid sleep 1000 & echo done'
start -A -f daemon.xml -f holder.xml
finish
expect_status 0
expect "$(tagged)" ""
expect_results 2
for file in $(results); do
  expect "$(output_of "$file")" "done"
done
file=$(results | grep DAEMON)
expect "$(number_at "$file" 4 4)" 3
