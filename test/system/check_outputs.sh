#!/bin/bash
# Forms by the ending of a file; files appear whole; what is not said is told.
. "$(dirname "$0")/check_common.bash"

describe_facts box "<fact name='box.colour' from='colour'/>"
for node in n{1..5}; do answer "$node" box 'colour: red'; done
answer n6 box 'colour: blue'
take_in --expect 'n[1-6]'
mkdir o
check -o o/r.html -o o/r.json -o o/r.csv -o o/r.md -o o/r.txt -o o/r.xml -o o/r.prom -o o/r.sarif -o o/r.svg
expect_stdout
complained 'o/r.html  '
expect "$(find o -name 'r.*' | wc -l) $(find o -name '.*' -type f | wc -l)" '9 0'
xmllint --noout --nonet o/r.xml o/r.svg
jq -e '.schema == "zelkara.check/1"' o/r.json >/dev/null
head -c 15 o/r.html | grep -qi '<!doctype html>'
check --html o/both.html --json -q
jq -e .findings "$scratch/stdout" >/dev/null
expect_stderr

# The same data give the same bytes.
export SOURCE_DATE_EPOCH=1900000000
for i in 1 2; do check --json --max-age 9000d; cp stdout "o/$i"; done
cmp o/1 o/2

# A reader that goes, a full disk.
check -o /dev/full --json
expect_status 3
complained 'unable to write'
status=0
"$checker" --json >/dev/full 2>"$scratch/stderr" || status=$?
expect_status 3
complained 'standard output could not be written'
set +o pipefail
"$checker" --format plain -1 | true
set -o pipefail

# A terminal is not filled with markup.
script -qec "$checker --format html; echo status \$?" /dev/null </dev/null >"$scratch/stdout"
said 'status 3'
