#!/bin/bash
# At debug level the record is summed up in the log, byte for byte.
. "$(dirname "$0")/common.sh"

config
provider memory.xml 'echo out; echo err >&2; exit 7'
sed -i 's|^<provider>|<provider version="3">|' memory.xml
echo 'node[1-2]' >nodes
run -A -l debug -n nodes -f memory.xml
expect_status 0
file=$(results)
user=$(text_at "$file" 614 10)
seconds=$(number_at "$file" 80 8) microseconds=$(number_at "$file" 88 8)
grep -qE '^provider execution time = [0-9.e-]+ seconds$' stderr || fail "no time"
sed -n '/^Name: /,$p' stderr >summary
duration=$(sed -n 's/^Duration: \([0-9.e-]*\)$/\1/p' summary)
[ -n "$duration" ] || fail "no duration"
printf '%s\n' "Name: memory" "Hostname: $host" "Duration: $duration" \
  "Timestamp: $seconds.$(printf '%06d' "$microseconds")" "Exit status: 7" \
  "Encoding: 0" $'API: \001' "OptionID: None" "version: 3" "User name: $user" \
  "stdout (4 bytes): " out "" "stderr (4 bytes): " err "" \
  "nodes (2 nodes, 12 bytes): node1, node2" "" >wanted
cmp summary wanted || fail "$(diff summary wanted)"
