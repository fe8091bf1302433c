#!/bin/bash
# What providers print is read as facts, long after the run, by descriptions
# that have gone on to another version since.
. "$(dirname "$0")/db_common.bash"

config
mkdir d
described() { # FILE VERSION FACTS
  provider "$1" "printf 'size: 7\\nmodel: A\\n'" "<facts>$3</facts>"
  sed -i "s/<provider>/<provider name='disk' version='$2'>/" "$1"
}
described d/disk.xml 1 "<fact name='disk.size' from='size' type='integer' unit='GB'/><fact name='disk.serial' from='serial'/>"
run -A -c "$root/etc/zelk.xml" -f d/disk.xml
expect_status 0
"$accumulate" scan "$out" -q >/dev/null

db facts --descriptions d --format csv
expect_status 1
expect_stdout 'node,provider,option,fact,value,unit,type,better,compare' \
  "$host,disk,None,disk.size,7,GB,integer,none,equal"
expect_stderr 'zelk-db: 1 fact of 1 node could not be read; --unread lists them'
db facts latest --unread --format csv --descriptions d --provider disk --node "$host"
expect_text "$host,disk,None,disk.serial,no line has the source 'serial'"

cp d/disk.xml old.xml
described d/disk.xml 2 "<fact name='disk.model' from='model'/>"
db facts --descriptions d --unread
expect_status 2
expect_text 'the result is of version 1 of the provider, d has version 2'
mv old.xml d/disk.v1.xml
db facts --descriptions d --fact 'disk.s*'
expect_text disk.size

described d/disk.xml 2 "<fact name='disk.{2}' from='(model)'/>"
db facts --descriptions d
expect_complaint "d/disk.xml:1: fact 'disk.{2}': expected in 'from' a group for {2}"
printf 'model: B\n' >out.txt
db facts --from-file out.txt --provider d/disk.v1.xml --unread
expect_status 2
expect_text disk.size
