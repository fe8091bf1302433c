#!/bin/bash
# The handler's signal reaches whatever shares the worker's group.
. "$(dirname "$0")/common.sh"

config
provider slow.xml "touch $scratch/begun; sleep 1000"
cat >launcher <<END
trap 'echo told >told; exit 0' TERM
"$worker" -A -f slow.xml 2>stderr &
echo \$! >pid_of_worker
wait
END
ZELK_TEST_TAG=$scratch setsid sh launcher &
pid=$!
wait_for test -e begun
kill -s INT "$(cat pid_of_worker)"
wait "$pid" || fail "the launcher ended with $?"
expect "$(cat told)" told
gone() { [ -z "$(tagged)" ]; }
wait_for gone
