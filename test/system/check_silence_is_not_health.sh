#!/bin/bash
# A node that says nothing, too late, or that it cannot, is never called healthy.
. "$(dirname "$0")/check_common.bash"

describe_facts box "<fact name='box.colour' from='colour'/>"
for node in n{1..5}; do answer "$node" box 'colour: red'; done
take_in --expect 'n[1-7]'
check
expect_status 2
said 'n[6-7]'
check --format json
jq -e '.counts.healthy == 5 and .counts.unhealthy == 2' "$scratch/stdout" >/dev/null || fail counts
check --unreachable informational
[ "$status" -ne 0 ] || said 'unknown'
check --format nodes --min-severity critical
expect_stdout 'n[6-7]'
check -w n6
expect_status 2
check --format nagios
expect_status 2
said 'ZELKARA CRITICAL'
check --format prom
said 'zelkara_results_missing'
check -w n99
expect_status 3
complained 'n99'

# Nobody answered: there is nothing that could be fine.
rm -f "$ZELK_DB"*
describe broken 'exit 9' "<facts><fact name='x' from='x'/></facts>"
run -A -H n1 -c "$root/etc/zelk.xml" -f "$root/etc/providers/broken.xml"
take_in --expect 'n1'
check
[ "$status" -ne 0 ] || fail "a node of which nothing is known is fine"
said broken
not_said '1 healthy'
