#!/bin/bash
# An install root too deep for the derived paths ends the run.
. "$(dirname "$0")/common.sh"

config
deep=$(printf '/%.0s' {1..4081})
message="The binary is located in a directory that is too deep for this tool to function properly"

# "/provider/share" makes this 4096 characters.
ZELK_TEST_INSTALL_ROOT=$deep run -A -c "$root/etc/zelk.xml" -f a.xml
expect_status 1
expect_stdout "$message"
expect_stderr

# One less fits, and the run fails at what the file system root lacks instead.
ZELK_TEST_INSTALL_ROOT=${deep%/} run -A -c "$root/etc/zelk.xml" -f a.xml
expect_status 1
expect_stdout
[ -s stderr ] || fail "nothing was said"
