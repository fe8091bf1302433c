#!/bin/bash
# One command collects this machine and judges it; another asks again.
# shellcheck disable=SC2154
. "$(dirname "$0")/check_common.bash"
unset ZELK_TEST_INSTALL_ROOT

status=0
timeout 200 "$collector" @quick --check >"$scratch/stdout" 2>"$scratch/stderr" </dev/null || status=$?
[ "$status" -le 2 ] || fail "status $status"
said 'Collected'
said 'of 1 node'
first=$status
check
expect_status "$first"
check --json
jq -e '[.unread[].metric] | all(startswith("net.lo.") | not)' stdout >/dev/null || fail 'loopback'
/usr/bin/python3 - "$tree/share/zelkara/schema/check-1.json" stdout <<'END'
import json, sys
try:
    import jsonschema
except ImportError:
    sys.exit(0)
jsonschema.validate(json.load(open(sys.argv[2])), json.load(open(sys.argv[1])))
END
check --show node "$host"
expect_status 0
said "$host"
check --diff uname_os
expect_status 0
check --list
expect_status 0
check --explain no-answer
expect_status 0
said no-answer
check --man
said 'EXIT STATUS'
check --local
[ "$status" -le 2 ] || complained 'nothing could be judged'
