#!/bin/bash
# A known state is accepted with a reason, for a while, and taken back.
. "$(dirname "$0")/db_common.bash"

fill 3
node=node001
db accept mem-size -w "$node"
expect_status 3
expect_complaint "accept needs --reason"
db accept Mem_Size --reason x
expect_status 3
expect_complaint "did you mean 'mem-size'?"
db accept mem-size --reason x --until 2001-01-01
expect_status 3
db accept list
expect_stdout "nothing is accepted"
db accept mem-size -w "$node" --reason 'DIMM ordered' --until 30d --who ada --run latest
expect_status 0
expect_text "accepted 1: mem-size on $node (1), until 20"
# A slip of the finger is not passed over.
db accept clock-off -w noed7 --reason typo
expect_status 1
expect_complaint "no run knows noed7"
db accept clock-off -w noed7 --reason typo --run latest
expect_status 3
db accept sysctl-differs --reason $'esc\x1b[2J' --until 1s
sleep 1.1
db accept list
[[ $(shown) == *" mem-size "*" active "*" sysctl-differs "*" expired "* ]] || fail "list"
expect_no_controls "$scratch/stdout"
db accept revoke 2 --who bob
expect_stdout "revoked 2: clock-off on noed7 (1)"
db accept revoke 2
expect_status 1
db accept list --all --json
[[ $(shown) == *'"state":"revoked"'*'"revoked_by":"bob"'* ]] || fail "not revoked"
db query "SELECT node, reason FROM v_acceptance JOIN v_acceptance_node USING (acceptance)" --format csv
expect_stdout node,reason "$node,DIMM ordered" noed7,typo
