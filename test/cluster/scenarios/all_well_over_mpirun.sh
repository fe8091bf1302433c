#!/bin/bash
# mpirun starts the workers, one on each host.
. "$(dirname "$0")/../common.bash"
command -v mpirun >/dev/null || { echo "skipped: no mpirun"; exit 77; }

collect --launcher mpi -w 'node[01-08]' -f $seen/hello.xml
expect_status 0
expect_run complete 8/8 8/8
expect_idle node01 node08
