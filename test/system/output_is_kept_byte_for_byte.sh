#!/bin/bash
# Both streams reach the record apart and unchanged.
. "$(dirname "$0")/common.sh"

config
head -c 3000000 /dev/urandom >noise
head -c 1000001 /dev/urandom >other
provider memory.xml 'cat noise & cat other >&2; wait'
run -A -f memory.xml
expect_status 0
expect_stderr
file=$(results)
expect "$(number_at "$file" 640 8)" 3000000
expect "$(number_at "$file" 648 8)" 1000001
output_of "$file" | cmp - <(cat noise other) || fail "the bytes differ"
