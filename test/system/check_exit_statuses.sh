#!/bin/bash
# The status is that of the worst finding: 0, 1, 2; and 3 when nobody can tell.
. "$(dirname "$0")/check_common.bash"

describe_facts box "<fact name='box.colour' from='colour'/>"
check
expect_status 3
complained "there is none"

for node in n{1..6}; do answer "$node" box 'colour: red'; done
take_in --expect 'n[1-6]'
check
expect_status 0
said 'HEALTHY   6 healthy   of 6 nodes'

for node in n{1..5}; do answer "$node" box 'colour: red'; done
answer n6 box 'colour: blue'
take_in --expect 'n[1-6]'
check
expect_status 1
said box-differs
check --exit-zero
expect_status 0
check --fail-on critical
expect_status 0
check --skip box-differs --skip box-changed
expect_status 0
check -w 'n[1-5]' --skip box-changed
expect_status 0
check -w n6
expect_status 1

for node in n{1..5}; do answer "$node" box 'colour: red'; done
take_in --expect 'n[1-6]'
check
expect_status 2
said no-answer
SOURCE_DATE_EPOCH=1900000000 check --max-age 1d --run 1
expect_status 3
