#!/bin/bash
# Sixteen hosts over ssh, as root and as an ordinary user: one complete run.
. "$(dirname "$0")/../common.bash"

collect -w "$all_nodes" --label plain -f $seen/hello.xml
expect_status 0
expect_run complete 16/16 16/16
expect "$(query 'SELECT count(*) FROM v_result WHERE node = hostname')" 16
expect "$(query "SELECT stdout FROM v_result WHERE node = 'node07'")" \
  "hello from node07"
expect_idle node01 node16 head

# The shipped providers, told from each other by their names alone.
collect -w 'node[01-04]' --json uname_os mounts
expect_status 0
expect_run complete 4/4 8/8

on head install -d -o 64999 -m 700 /tmp/ada
CLUSTER_USER=ada variables+=(ZELK_DB=/tmp/ada/zelk.db HOME=/run/cluster/home/ada)
export CLUSTER_USER
provider who 'id -un'
collect -w 'node[01-04]' -f $seen/who.xml
unset CLUSTER_USER
expect_status 0
expect "$(on head zelk-db --db /tmp/ada/zelk.db query --format csv \
  "SELECT count(*) FROM v_result WHERE stdout = 'ada' || char(10)" | tail -n 1)" 4
