#!/bin/sh
# The clock the kernel reads, and how well the time is kept in step.

# shellcheck source=/dev/null
. "${0%/*}/../common/prologue.sh"
need_tools xargs grep awk
need_file /sys/devices/system/clocksource/clocksource0/current_clocksource

clock=$ROOT/sys/devices/system/clocksource/clocksource0
list_present "$clock/current_clocksource" "$clock/available_clocksource" |
  print_files || incomplete "files of clocksource0"
run_tool timedatectl show
# -n: a name server that does not answer must not stall the question.
run_tool chronyc -n tracking
finish
