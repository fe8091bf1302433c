#!/bin/bash
# Two hundred workers at once write 400 whole files into one directory.
. "$(dirname "$0")/common.sh"

config
provider first.xml 'echo whole'
provider second.xml 'echo whole'
# shellcheck disable=SC2016  # for the inner shell
seq 200 | xargs -P 200 -I{} sh -c '"$0" -A -f first.xml -f second.xml || exit 255' \
  "$worker" 2>stderr
expect_stderr
expect_results 400
expect "$(results | grep -c ZELK_FIRST_)" 200
# Written by somebody else or cut short, a file would differ in length or text.
expect "$(find "$out" -size 742c | wc -l)" 400
for file in $(results); do
  output_of "$file"
done | sort | uniq -c | grep -qE '^ *400 whole$' || fail "not all of them are whole"
