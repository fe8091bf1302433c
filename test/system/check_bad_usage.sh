#!/bin/bash
# Every mistake ends with 3, names what was expected, and says nothing on stdout.
. "$(dirname "$0")/check_common.bash"

describe_facts box "<fact name='box.colour' from='colour'/>"
answer n1 box 'colour: red'
take_in

refused "did you mean '--baseline'?" --baselin 1
refused '--run: expected one value' --run
refused "There is no run '7'" --run 7
refused "'--run' is no check" -- --run
refused 'is the run that is judged' --baseline 1
refused 'No run is marked as the baseline' --run baseline
refused '-w: ' -w 'n[3-1]'
refused 'is no group' -w @class:nosuch
refused '--limit: ' --limit x
refused "no fact 'box.color'; did you mean 'box.colour'" --limit box.color=1:2
refused "'zz*' is no check" 'zz*'
refused '--redact is for the page' --redact hosts -o report.json
refused 'is no check' --explain nosuch
refused 'no provider and no fact' --diff nosuch
refused "--all is for --diff and --show node" --all
refused 'neither expected nor has n9' --show node n9
refused 'cannot be used' -c nosuch.xml
refused 'cannot read node file' -n nosuch
refused 'there is none' --db nosuch.db
refused 'the check definitions cannot be used' --checks nosuch
refused 'unable to write' -o no/such/folder.json
refused 'exclude each other' --list --local
config '<wrong/>'
refused 'expected' --format text
config
ZELK_DB=$scratch/stdout check
expect_status 3
check --format nagios --run 7
expect_status 3
said 'ZELKARA UNKNOWN - '
