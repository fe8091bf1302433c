#!/bin/bash
# A fifth of the packets of two hosts is lost, both ways. TCP gets through.
. "$(dirname "$0")/../common.bash"
cluster loss node03 20
cluster loss node04 20

collect -w 'node[01-08]' --connect-timeout 20 --retry 1 -f $seen/hello.xml
expect_status 0
expect_run complete 8/8 8/8
