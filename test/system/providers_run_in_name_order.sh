#!/bin/bash
# Providers run in byte order of their names, whatever the command line.
. "$(dirname "$0")/common.sh"

config
for name in b a C a2 _x; do
  provider "$name.xml" "echo $name >>$scratch/order"
done
run -A -f b.xml -f a.xml -f C.xml -f a2.xml -f _x.xml
expect_status 0
expect "$(tr '\n' ' ' <order)" "C _x a a2 b "
