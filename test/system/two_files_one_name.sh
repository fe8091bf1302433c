#!/bin/bash
# Of two descriptions with one base name the first named is run.
. "$(dirname "$0")/common.sh"

config
mkdir one two
provider one/memory.xml 'echo one'
provider two/memory.xml 'echo two'
run -A -f two/memory.xml -f one/memory.xml -f two/memory.xml
expect_status 0
expect_stderr
expect_results 1
expect "$(output_of "$(results)")" two
