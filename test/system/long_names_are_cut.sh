#!/bin/bash
# A provider's name longer than its field is cut; the run still counts.
. "$(dirname "$0")/common.sh"

name=$(printf '0123456789%.0s' {1..7})
config "<provider_options><provider name=\"$name\"><option id=\"o\"/></provider></provider_options>"
provider "$name.xml" 'exit 4'
run -A -l info -f "$name.xml"
expect_status 0
expect_stderr "exit status from data provider '$name' is '4'"
file=$(results)
expect "$(text_at "$file" 8 64)" "${name:0:63}"
expect "$(text_at "$file" 656 60)" o
[[ $(basename "$file") == "ZELK_${name}_${host}_"* ]] || fail "$file"
