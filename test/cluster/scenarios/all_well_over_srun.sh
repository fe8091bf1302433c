#!/bin/bash
# Slurm starts the workers: outside an allocation, and inside one, whose nodes
# are then those of the run without being named.
. "$(dirname "$0")/../common.bash"
cluster slurm | tee "$scratch/slurm"
! grep -q skipped "$scratch/slurm" || exit 77

collect --launcher slurm -w "$all_nodes" -f $seen/hello.xml
expect_status 0
expect_run complete 16/16 16/16

on head env ZELK_DB=/tmp/zelk.db salloc -Q -N 5 \
  zelk-collect --launcher slurm -f $seen/hello.xml >"$scratch/stdout" 2>&1 ||
  fail "status $?"
expect_run complete 5/5 5/5
expect_idle node01 node05
