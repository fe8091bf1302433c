#!/bin/bash
# A host that shows another key is not trusted, and the reason is told apart
# from a time-out and from a refused login.
. "$(dirname "$0")/../common.bash"
cluster rekey node02
on node05 rm /etc/ssh/keys/authorized

collect -w 'node[01-08]' -f $seen/hello.xml
expect_status 1
expect_run partial 6/8 6/8
expect_missing node02 'host key'
expect_missing node05 'permission denied'
