#!/bin/bash
# On the node itself, without a datastore: silent when fine, else every failure.
. "$(dirname "$0")/check_common.bash"

describe_facts box "<fact name='box.size' from='size' type='integer' unit='GiB'/>"
describe slow 'sleep 60' "<facts><fact name='slow.size' from='size'/></facts>"
describe other "touch $scratch/ran" "<facts><fact name='other.size' from='x'/></facts>"
rm "$root/etc/checks"
mkdir "$root/etc/checks"
unset ZELK_DB

check --local
expect_status 3
complained 'no check is marked quick'

echo 'size: 256' >"$evidence.box"
check --local --limit box.size=250:
expect_status 0
expect_stdout
expect_stderr
check --local --limit box.size=250: --limit 'box.*=300:'
[ "$status" -ne 0 ] || fail 'a limit is broken'
grep -q '^ERROR zelk: ' stdout || fail 'no line'

# What cannot be measured is neither fine nor a fault of the node.
rm "$evidence.box"
check --local --limit box.size=250:
expect_status 3
complained 'not judged: box: ended with status 1'
[ ! -e ran ] || fail 'a provider that nobody wants was run'
