#!/bin/bash
# An unknown option or a missing argument is complained about, not obeyed.
. "$(dirname "$0")/common.sh"

config
provider memory.xml 'echo fine'
run -Z -A -f memory.xml an operand -n
expect_status 0
expect_stderr "$worker: invalid option -- 'Z'" \
  "$worker: option requires an argument -- 'n'"
expect_results 1

# Only single letters are options: this is "--", which is none, and "-p rovider".
cp memory.xml rovider
run -A -f memory.xml --provider
expect_status 1
expect_line "$worker: invalid option -- '-'"
expect_line "Failed to open and validate xml rovider"
