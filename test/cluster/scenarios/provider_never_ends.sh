#!/bin/bash
# A provider that never ends on one host is ended there, told apart from the
# others' results, and leaves nothing running.
. "$(dirname "$0")/../common.bash"
# shellcheck disable=SC2016
provider stuck '[ "$(hostname)" != node02 ] || { trap "" TERM; sleep 1000 & sleep 1000; }; echo done'

collect -w 'node[01-04]' --timeout 3 -f $seen/stuck.xml
expect_status 1
expect_run partial 3/4 3/4
expect_missing node02 "stuck|stopped after"
expect_idle node02 node03
