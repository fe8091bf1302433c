#!/bin/bash
# A directory that goes in mid-run costs the records of that time only.
. "$(dirname "$0")/common.sh"

config
provider a.xml 'echo a'
provider b.xml 'mv out gone'
provider c.xml 'mv gone out'
run -A -f a.xml -f b.xml -f c.xml
expect_status 0
expect_stdout
expect "$(wc -l <stderr)" 2
pattern="^Error creating output file '$out/ZELK_B_${host}_[0-9]+__XXXXXX' \(2\): No such file or directory\$"
grep -qE "$pattern" stderr || fail "no line '$pattern'"
expect "$(tail -n 1 stderr)" "Error accumulating provider output."
expect_results 2
