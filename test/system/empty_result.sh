#!/bin/bash
# A result without output is its header alone: 736 bytes, owner only.
. "$(dirname "$0")/common.sh"

config
provider memory.xml true
run -A -f memory.xml
expect_status 0
file=$(results)
expect "$(stat -c '%s %a' "$file")" "736 600"
[[ $file =~ ^$out/ZELK_MEMORY_${host}_[0-9]+__[A-Za-z0-9]{6}$ ]] || fail "$file"
expect "$(number_at "$file" 0 1)" 1
expect "$(text_at "$file" 8 64)" memory
expect "$(text_at "$file" 104 255)" "$host"
expect "$(text_at "$file" 656 60)" None
expect "$(od -An -tx1 -j720 -N16 "$file" | tr -d ' 0\n')" ""
