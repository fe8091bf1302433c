#!/bin/bash
# On the node itself: whatever hangs, its time is bounded and the rest is judged.
. "$(dirname "$0")/check_common.bash"

describe_facts box "<fact name='box.size' from='size' type='integer' unit='GiB'/><fact name='box.name' from='name'/>"
describe slow 'sleep 60' "<facts><fact name='slow.size' from='size'/></facts>"
rm "$root/etc/checks"
mkdir "$root/etc/checks"
unset ZELK_DB
printf 'size: 256\nname: x\n' >"$evidence.box"

# Its time is bounded, whatever hangs.
SECONDS=0
check --local -t 5 --limit 'slow.size=1' --limit box.size=250:
[ "$SECONDS" -lt 15 ] || fail "$SECONDS s"
expect_status 3
complained 'not judged: slow'
complained "the run has no fact 'slow.size'"

# Two limits that are broken are two lines, each with its fact; one that hangs
# starves nobody.
check --local -t 4 --limit 'box.size=1TiB:' --limit 'box.size=~:1GiB' --limit 'slow.size=1'
[ "$(grep -c '^ERROR zelk: limit: box.size: 256 GiB; limit' stdout)" -eq 2 ] || fail 'not two lines'
check --local --limit nofact=1
expect_status 3
expect_nothing_left
