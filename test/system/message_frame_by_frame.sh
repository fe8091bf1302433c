#!/bin/bash
# A message has four frames, which are the blocks of the result.
. "$(dirname "$0")/common.sh"

config
provider a.xml 'echo out; echo error >&2; exit 3'
provider b.xml true
echo 'node[1-3]' >nodes
listen 3
run -e "$endpoint" -n nodes -f b.xml -f a.xml
expect_status 0
expect_stderr
run -e "$endpoint" -f b.xml
expect_status 0
wait "$receiver" || fail "the receiver"
expect "$(cd frames && wc -c -- * | awk '{ print $2 "=" $1 }' | tr '\n' ' ')" \
  "1.frame1=736 1.frame2=4 1.frame3=6 1.frame4=19 2.frame1=736 2.frame2=0 2.frame3=0 2.frame4=19 3.frame1=736 3.frame2=0 3.frame3=0 3.frame4=0 total=2256 "
expect "$(cat frames/1.frame[234])" "out
error
node1, node2, node3"

cat frames/1.frame? >record
"$here/record_layout.py" record >fields || fail "the layout"
mapfile -t fields <fields
"$here/record_layout.py" --build "${fields[@]}" | cmp - record || fail "the bytes"
