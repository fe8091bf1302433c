#!/bin/bash
# Of an option given twice the last counts; -f alone adds up.
. "$(dirname "$0")/common.sh"

config
provider a.xml 'echo a'
provider b.xml 'echo b'
run -A -H first -c nowhere.xml -f a.xml -H second -c "$root/etc/zelk.xml" -f b.xml
expect_status 0
expect_results 2
for file in $(results); do
  expect "$(text_at "$file" 359 255)" second
done
