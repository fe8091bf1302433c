#!/bin/bash
# A provider that overruns its time is ended; its record says 124.
. "$(dirname "$0")/common.sh"

config
provider slow.xml "sh -c 'trap \"echo cleaned; exit 3\" TERM; echo begun; sleep 1000; echo next'" \
  '<timeout>1</timeout>'
provider quick.xml 'echo fine'
start -A -f quick.xml -f slow.xml
finish
expect_status 0
expect "$(tagged)" ""
expect_results 2
file=$(results | grep SLOW)
expect "$(number_at "$file" 4 4)" 124
expect "$(output_of "$file" | head -n 2)" "begun
cleaned"
output_of "$file" | grep -q next && fail "the script went on"
# Nobody gets less than 60 seconds.
seconds=$(od -An -tf8 -j96 -N8 "$file")
awk -v s="$seconds" 'BEGIN { exit !(s >= 60 && s < 63) }' || fail "$seconds seconds"
