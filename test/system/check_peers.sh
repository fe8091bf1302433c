#!/bin/bash
# Peers by role and by hand: what cannot be is refused, what is odd is told.
. "$(dirname "$0")/check_common.bash"

describe_facts box "<fact name='box.colour' from='colour'/>"
for node in n{1..6}; do answer "$node" box 'colour: red'; done
take_in --expect 'n[1-6]'

refused '--peers role: no node of the run has a role: give a node file (-n)' --peers role
refused "no node of the run has a subcluster" --peers subcluster
refused "'@role:login': no node of the run has a role; roles are read from a node file: -n FILE" -w @role:login

printf 'n[1-5] role=compute\nn6\n' >nodes
check -n nodes --peers role --json
expect_status 0
complained "--peers role: 1 node without one, compared as 'no role': n6"
jq -e '[.classes[].name] == ["compute", "no role"]' stdout >/dev/null || fail 'no such class'
check -n nodes --peers role -q
expect_stderr
refused "'@role:lgin' is no group" -n nodes -w @role:lgin

check --class 'X=n[5-8],m1'
expect_status 0
complained '--class: the run has no m1,n[7-8] (3 nodes)'
refused "--class: 'n5' is in two classes, X and Y" --class 'X=n[1-5]' --class Y=n5

# Only the results of the nodes that were asked for are counted.
check -w 'n[1-2]'
said 'Not judged:  0 of 2 results missing'
check -x 'n[1-2]' --format nagios
said 'missing=0;;;0;4 '
