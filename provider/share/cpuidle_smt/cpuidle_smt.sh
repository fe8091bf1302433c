#!/bin/sh
# Idle states of the processors and whether they are switched off, one line for
# each value that occurs and the processors that have it; and whether cores run
# several threads.

ranges_awk=
script_folder=
# shellcheck source=/dev/null
. "${0%/*}/../common/prologue.sh"
# shellcheck source=/dev/null
. "$script_folder/../common/ranges.sh"
need_tools xargs grep awk
need_file /sys/devices/system/cpu

cpus=$ROOT/sys/devices/system/cpu
[ -d "$cpus/cpuidle" ] || [ -d "$cpus/smt" ] ||
  not_applicable "the kernel knows neither idle states nor threads of a core"
[ -d "$cpus/cpuidle" ] || missing "${cpus#"$ROOT"}/cpuidle"
[ -d "$cpus/smt" ] || missing "${cpus#"$ROOT"}/smt"

# The counters of use and time beside these grow all the time.
list_settings() {
  list_present "$cpus/smt/control" "$cpus/smt/active" "$cpus/cpuidle/current_driver" \
    "$cpus/cpuidle/current_governor" "$cpus/cpuidle/current_governor_ro"
  for state in 0 1 2 3 4 5 6 7 8 9; do
    has_state "$state" && list_numbered "$cpus/cpu" "cpuidle/state$state/name" \
      "cpuidle/state$state/latency" "cpuidle/state$state/disable"
  done
}

has_state() {
  for state_dir in "$cpus"/cpu[0-9]*/cpuidle/state"$1"; do
    [ -d "$state_dir" ] && return 0
  done
  return 1
}

evidence=$(list_settings | print_files) || incomplete "files of cpuidle"
# shellcheck disable=SC2016 # the dollars belong to awk
printf '%s\n' "$evidence" | awk "$ranges_awk"'
  /^\/sys\/devices\/system\/cpu\/cpu[0-9]+\/cpuidle\/state[0-9]\// {
    colon = index($0, ": ")
    split(substr($0, 1, colon - 1), part, "/")
    name = part[8] "." part[9]
    if (!(name in known)) { known[name]; order[++count] = name }
    add_value(name, substr(part[6], 4) + 0, substr($0, colon + 2))
    next
  }
  { print }
  END { for (i = 1; i <= count; i++) print_values(order[i], "cpuidle." order[i]) }'
finish
