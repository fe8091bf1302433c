#!/bin/sh
# How often, and for how long, processors and their packages slowed down because
# they were too hot: the kernel's counters since boot.
#
# turbostat would add what the moment looks like, at the price of interrupting
# every processor, and for root only; it is not asked.

ranges_awk=
script_folder=
# shellcheck source=/dev/null
. "${0%/*}/../common/prologue.sh"
# shellcheck source=/dev/null
. "$script_folder/../common/ranges.sh"
need_tools xargs grep awk
need_file /sys/devices/system/cpu

cpus=$ROOT/sys/devices/system/cpu
counters='core_throttle_count core_throttle_total_time_ms core_throttle_max_time_ms
  package_throttle_count package_throttle_total_time_ms package_throttle_max_time_ms'

has_counters() {
  for counter in "$cpus"/cpu[0-9]*/thermal_throttle; do
    [ -d "$counter" ] && return 0
  done
  return 1
}
has_counters || not_applicable "the processors count no thermal throttling"

evidence=$(
  # shellcheck disable=SC2046,SC2086 # words on purpose
  list_numbered "$cpus/cpu" $(printf 'thermal_throttle/%s ' $counters) | print_files
) || incomplete "files of thermal_throttle"

# Every processor shows its package's counter, so a sum would say nothing: the
# highest one is printed beside the list of values.
# shellcheck disable=SC2016 # the dollars belong to awk
printf '%s\n' "$evidence" | awk -v counters="$counters" "$ranges_awk"'
  match($0, /^\/sys\/devices\/system\/cpu\/cpu[0-9]+\/thermal_throttle\/[a-z_]+: [0-9]+$/) {
    split($1, part, "/")
    name = substr(part[8], 1, length(part[8]) - 1)
    add_value(name, substr(part[6], 4) + 0, $2)
    if (!(name in most) || $2 + 0 > most[name]) most[name] = $2 + 0
    if (name == "core_throttle_count") { seen++; throttled += $2 > 0 }
    next
  }
  { print }
  END {
    print "throttle.cpus: " seen + 0
    print "throttle.cpus_throttled: " throttled + 0
    count = split(counters, names, /[ \n]+/)
    for (i = 1; i <= count; i++) {
      if (!(names[i] in most)) continue
      print "throttle." names[i] "_most: " most[names[i]]
      print_values(names[i], "throttle." names[i])
    }
  }'
finish
