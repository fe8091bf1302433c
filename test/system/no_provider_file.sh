#!/bin/bash
# Without -f the run ends with the complaint and the usage text.
. "$(dirname "$0")/common.sh"

config
run -A
expect_status 1
expect_stderr "Please specify atleast one provider file using the -f command-line option."
expect_stdout "$(sed -e "s|@PROGRAM@|$worker|" -e "s|@ROOT@|$root|" "$here/usage.txt")"

# The configuration is read first, the delivery is opened last.
run -e nonsense
expect_status 1
expect "$(wc -l <stderr)" 1
run -A -c nowhere.xml
expect_status 1
expect_stdout
