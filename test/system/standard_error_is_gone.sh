#!/bin/bash
# Log lines that nobody can take cost the run nothing.
. "$(dirname "$0")/common.sh"

config
provider memory.xml 'echo out'
mkfifo pipe
exec 3<>pipe
exec 4>pipe
exec 3<&-
"$worker" -A -l debug -f memory.xml 2>&4 || fail "status $? with a closed pipe"
"$worker" -A -l debug -f memory.xml 2>/dev/full || fail "status $? when full"
expect_results 2
