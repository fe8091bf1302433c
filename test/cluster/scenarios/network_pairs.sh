#!/bin/bash
# The provider that measures the network between nodes: all pairs of four hosts;
# a host that is down; and no permission to log in from node to node.
. "$(dirname "$0")/../common.bash"
pairs() { query "SELECT stdout FROM v_result WHERE run = (SELECT max(run) FROM v_run)"; }

collect -w 'node[01-04]' net_pairs
expect_status 0
expect_run complete 1/1 1/1
expect "$(pairs | grep -c '^pair\..*\.latency_us: [0-9.]*$')" 6
expect "$(pairs | grep '^pairs.unmeasured')" "pairs.unmeasured: 0"
expect_idle node01 node02 node03 node04

cluster kill node03
collect -w 'node[01-04]' net_pairs
pairs | grep -q '^node.node03.failed: ' || fail "node03 is not named"
expect "$(pairs | grep -c '^pair\..*\.latency_us')" 3

for host in node0{2,4}; do on "$host" rm /etc/ssh/keys/authorized; done
collect -w 'node[01,02,04]' net_pairs
expect "$(query "SELECT exit_status FROM v_result ORDER BY result DESC LIMIT 1")" 82
