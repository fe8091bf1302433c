#!/bin/bash
# --show node: all there is through a pipe; where lists are limited what is wrong.
. "$(dirname "$0")/check_common.bash"

describe_facts box "<fact name='box.{1}' from='(.*)'/>"
for node in n{1..5}; do answer "$node" box 'colour: red\nshape: round\nside: left'; done
answer n6 box 'colour: blue\nshape: round\nside: left'
take_in --expect 'n[1-6]'

check --show node n6
expect_status 0
said ' box.colour     blue     red on 5 of 6  box'
said ' box.shape '
not_said 'not listed'
check --show node n6 --limit-rows 20
expect_status 0
said ' box.colour  blue'
not_said ' box.shape '
said ' not listed: 1 ok'
said ' not listed: 4 facts of which nothing is wrong; --all lists them'
check --show node n6 --limit-rows 20 --all
said ' box.shape '
not_said 'not listed'
script -qec "$checker --show node n6" /dev/null </dev/null >"$scratch/stdout"
said 'not listed: 4 facts'
