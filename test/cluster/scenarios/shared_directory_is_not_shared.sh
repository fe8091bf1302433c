#!/bin/bash
# Asynchronous delivery goes through a directory that all hosts share. On one it
# is private, on another one missing: that is found before anything is started.
. "$(dirname "$0")/../common.bash"
mkdir "$CLUSTER_DIR/shared/spool"

collect --async --shared-directory $shared/spool -w 'node[01-08]' -f $seen/hello.xml
expect_status 0
expect_run complete 8/8 8/8
expect "$(find "$CLUSTER_DIR/shared/spool" -name 'ZELK_*' | wc -l)" 0

on node03 mount -t tmpfs private $shared/spool
collect --async --shared-directory $shared/spool -w 'node[01-08]' -f $seen/hello.xml
grep -q node03 "$scratch/stdout" "$scratch/stderr" || fail "node03 is not named"
[ "$status" -ne 0 ] || fail "exit status 0"

on node03 umount $shared/spool
on node04 sh -c "mkdir /tmp/empty && mount --bind /tmp/empty $shared"
collect --doctor --async --shared-directory $shared/spool -w 'node[01-08]'
grep -q node04 "$scratch/stdout" "$scratch/stderr" || fail "node04 is not named"
[ "$status" -ne 0 ] || fail "exit status 0"
