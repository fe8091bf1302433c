#!/bin/bash
# Who is over a limit is told what is allowed, in which unit, and who said so.
. "$(dirname "$0")/check_common.bash"

describe_facts box "<fact name='box.size' from='size' type='integer' unit='KiB'/>"
describe slow 'exit 124' "<facts><fact name='slow.size' from='size'/></facts>"
rm "$root/etc/checks"
mkdir "$root/etc/checks" "$scratch/site"
for node in n{1..3}; do answer "$node" box 'size: 262144000'; done
answer n4 box 'size: 1048576'
run -A -H n4 -c "$root/etc/zelk.xml" -f "$root/etc/providers/slow.xml"
take_in --expect 'n[1-4]'

words="1 GiB; limit at least 250 GiB, set by --limit box.size=250GiB:"
for form in text plain json md; do
  check --limit box.size=250GiB: --format "$form"
  expect_status 1
  said "$words"
done
# A range in a file is named with its line; a value near it to the digit.
cat >"$scratch/site/mine.xml" <<X
<checks>
  <check id="box-small" score="50">
    <title>a small box</title>
    <fact>box.size</fact>
    <rule kind="range" limit="262144001:"/>
  </check>
</checks>
X
check --checks "$scratch/site" --format plain
said "limit at least 262144001 KiB, set in $scratch/site/mine.xml:2"
check --format plain timeout
said ' s, the limit set by <timeout> in slow.xml or, over it, in zelk.xml'
