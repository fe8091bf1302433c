#!/bin/bash
# One name leads to another host's address, and one to an address where nobody
# is: no result may be taken for that of a host that gave none.
. "$(dirname "$0")/../common.bash"
on head sed -i -e '/ node05$/s/^[^ ]*/10.77.0.7/' \
  -e '/ node08$/s/^[^ ]*/10.77.200.200/' /etc/hosts # 10.77.0.7 is node06

collect -w 'node[01-08]' -f $seen/hello.xml
expect_status 1
expect_missing node08 'no route|timed out'
# What came under the name of node05 says where it was made.
expect "$(query "SELECT node, hostname FROM v_result WHERE node <> hostname")" \
  "node05,node06"
expect_run partial 7/8 7/8
expect_said "is the host '(node06|NODE)', and so is node0[56]: two names lead to one host"
