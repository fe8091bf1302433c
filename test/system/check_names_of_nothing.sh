#!/bin/bash
# What stands for nothing would pass for ever: it is refused, or told.
. "$(dirname "$0")/check_common.bash"

describe_facts box "<fact name='box.size' from='size' type='integer' unit='KiB'/><fact name='box.name' from='name'/>"
for node in n{1..5}; do answer "$node" box 'size: 20971520\nname: x'; done
take_in --expect 'n[1-6]'

refused "'box-diffres' is no check; did you mean 'box-differs'?" box-diffres
refused "'sysclt-differs' is no check" --skip sysclt-differs
refused "'xyz-differs' is no check" --explain xyz-differs
refused 'nothing would be judged' --skip '*'
refused 'nothing would be judged' 'mem-*' --skip 'mem-*'
refused '-x: the run neither expected nor has n9' -x n9
SOURCE_DATE_EPOCH=abc refused 'SOURCE_DATE_EPOCH: expected seconds'
check box-differs
said 'Only these checks were looked at: box-differs'

refused "--limit: 'box.name' is no number" --limit box.name=5:
refused "box.size has the unit KiB; 'GB/s' is another thing" --limit box.size=5GB/s:
refused "no fact 'box.sise'; did you mean 'box.size'?" --limit box.sise=5:
check --limit box.size=10GiB: limit
complained '--limit: box.size has no value on n6'
check --limit box.size=30GiB: --format nodes
[ "$(cat stdout)" = 'n[1-6]' ] || fail 'the limit is not kept'

mkdir "$scratch/own"
echo "<checks><check id='box-big' score='50'><title>a box</title><fact>box.sizes</fact>
<rule kind='range' limit='1:'/><explain>x</explain></check></checks>" >"$scratch/own/own.xml"
check --checks "$scratch/own"
complained "own.xml:1: check 'box-big': no description declares a fact 'box.sizes'"
"$tree/bin/zelk-db" accept no-such-check --reason test >/dev/null
check
complained "acceptance 1 is of no check: 'no-such-check'"
