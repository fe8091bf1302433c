#!/bin/bash
# A description that is not there costs itself only.
. "$(dirname "$0")/common.sh"

config
provider a.xml 'echo a'
provider c.xml 'echo c'
run -A -f a.xml -f nowhere/b.xml -f c.xml
expect_status 0
expect_stderr "Could not open 'nowhere/b.xml'. Skipping..."
expect_results 2

run -A -f nowhere/b.xml
expect_status 0
expect_stderr "Could not open 'nowhere/b.xml'. Skipping..."
expect_results 2
