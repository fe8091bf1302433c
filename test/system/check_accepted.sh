#!/bin/bash
# What is accepted on some nodes is told as that; the rest keeps the finding.
. "$(dirname "$0")/check_common.bash"
accept() { "$tree/bin/zelk-db" accept "$@" --reason known >"$scratch/stdout"; }

describe_facts box "<fact name='box.colour' from='colour'/>"
for node in n{1..3}; do answer "$node" box 'colour: red'; done
for node in n{4..6}; do answer "$node" box 'colour: blue'; done
take_in --expect 'n[1-6]'
check
expect_status 1
said 'no majority: 3 have blue (n[4-6]), 3 have red (n[1-3])'

accept box-differs -w n4
check
expect_status 1
said 'accepted on 1 of its 6 nodes; box.colour: no majority'
said 'SUSPECT   6 healthy'  # nobody can tell which colour is right
check --json
jq -e '.findings[0].accepted_on.nodes == ["n4"]' stdout >/dev/null || fail 'not in JSON'
check --explain box-differs
said 'accepted on 1 of its 6 nodes'
check --show node n4
said 'accepted on 1 of its 6 nodes'

accept box-differs -w 'n[5-6]'
check
expect_status 0
said 'accepted'
said '6 healthy'

# What the baseline has is no news, and the status is that of what is shown.
"$tree/bin/zelk-db" accept revoke 2 >/dev/null
for node in n{1..3}; do answer "$node" box 'colour: red'; done
for node in n{4..6}; do answer "$node" box 'colour: blue'; done
take_in --expect 'n[1-6]'
check --only-new
expect_status 0
check
expect_status 1
