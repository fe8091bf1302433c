#!/bin/bash
# Without a pid file the run goes on; only debug tells.
. "$(dirname "$0")/common.sh"

config
provider memory.xml true
mkdir "$root/etc/pidfile_$host"
run -A -f memory.xml
expect_status 0
expect_stderr
run -A -l debug -f memory.xml
expect_status 0
expect_line "Error opening pid file $root/etc/pidfile_$host."
expect_results 2
