#!/bin/bash
# A file name of four characters or fewer has no stem and is dropped.
. "$(dirname "$0")/common.sh"

config
atleast="Please specify atleast one provider file using the -f command-line option."
provider a.x 'echo dropped'
provider .xml 'echo dropped'
provider abcde 'echo kept'

run -A -f a.x -f .xml
expect_status 1
expect_stderr "$atleast"
expect "$(head -n 1 stdout)" "Usage: $worker [options]"

run -A -f a.x -f abcde
expect_status 0
expect_stderr
expect_stdout
expect_results 1
[[ $(results) == "$out/ZELK_A_${host}_"* ]] || fail "$(results)"
