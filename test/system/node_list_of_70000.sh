#!/bin/bash
# The node count is 16 bits wide; the names are as many as it says.
. "$(dirname "$0")/common.sh"

config
provider memory.xml true
echo 'n[1-70000]' >nodes
run -A -n nodes -f memory.xml
expect_status 0
expect_stderr
file=$(results)
expect "$(number_at "$file" 632 2)" 4464  # 70,000 modulo 65,536
expect "$(output_of "$file" | tr ',' '\n' | wc -l)" 4463
expect "$(output_of "$file" | tail -c 7)" ", n4464"
