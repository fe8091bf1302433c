#!/bin/bash
# The demonstration's collector shows both deliveries, and refuses torn files.
. "$(dirname "$0")/common.sh"

show=${ZELK_BUILD:?the build folder}/src/collect/src/zelk_show_results
config '<provider_options><provider name="memory"><option id="full"/></provider></provider_options>'
provider memory.xml 'echo four; exit 3'
provider other.xml true
without_seconds() { sed 's/ \+[0-9]\+\.[0-9]\+/ S/' | tr -s ' '; }
table="PROVIDER OPTION SET STATUS SECONDS BYTES HOST
memory full 3 S 5 $host
other None 0 S 0 $host"

run -A -f memory.xml -f other.xml
# shellcheck disable=SC2046
expect "$("$show" $(results) | without_seconds)" "$table"

"$show" --listen 'tcp://127.0.0.1:*' --count 2 >shown 2>ready &
wait_for grep -q '^READY ' ready
run -e "$(sed -n 's/^READY //p' ready)" -f other.xml -f memory.xml
wait $! || fail "$(cat ready)"
expect "$(without_seconds <shown)" "$table"

head -c 738 "$(results | head -n 1)" >torn
status=0
"$show" torn >shown 2>refused || status=$?
expect_status 1
expect "$(cat refused)" "torn: shorter than its header says"
