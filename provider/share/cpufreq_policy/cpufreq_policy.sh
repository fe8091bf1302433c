#!/bin/sh
# How the clock frequency of the processors is steered: driver, governor, limits
# and preference, one line for each value that occurs and the processors that
# have it; and the switches that hold for the whole machine.
#
# The frequency of the moment is left out: it differs from one reading to the
# next, and asking for it wakes processors that sleep.

ranges_awk=
script_folder=
# shellcheck source=/dev/null
. "${0%/*}/../common/prologue.sh"
# shellcheck source=/dev/null
. "$script_folder/../common/ranges.sh"
need_tools xargs grep awk
need_file /sys/devices/system/cpu

cpus=$ROOT/sys/devices/system/cpu
settings='scaling_driver scaling_governor scaling_min_freq scaling_max_freq
  cpuinfo_min_freq cpuinfo_max_freq base_frequency bios_limit
  energy_performance_preference'

has_policies() {
  for policy in "$cpus"/cpu[0-9]*/cpufreq; do
    [ -d "$policy" ] && return 0
  done
  return 1
}
has_policies || not_applicable "the kernel steers no clock frequency"

list_settings() {
  list_present "$cpus/cpufreq/boost" "$cpus/intel_pstate/status" \
    "$cpus/intel_pstate/no_turbo" "$cpus/intel_pstate/min_perf_pct" \
    "$cpus/intel_pstate/max_perf_pct" "$cpus/intel_pstate/hwp_dynamic_boost" \
    "$cpus/amd_pstate/status" "$cpus/amd_pstate/prefcore"
  # shellcheck disable=SC2046,SC2086 # words on purpose
  list_numbered "$cpus/cpu" $(printf 'cpufreq/%s ' $settings)
}

evidence=$(list_settings | print_files) || incomplete "files of cpufreq"
# shellcheck disable=SC2016 # the dollars belong to awk
printf '%s\n' "$evidence" | awk -v settings="$settings" "$ranges_awk"'
  match($0, /^\/sys\/devices\/system\/cpu\/cpu[0-9]+\/cpufreq\//) {
    split($0, part, "/")
    cpu = substr(part[6], 4) + 0
    text = substr($0, RLENGTH + 1)
    colon = index(text, ": ")
    add_value(substr(text, 1, colon - 1), cpu, substr(text, colon + 2))
    next
  }
  { print }
  END {
    count = split(settings, names, /[ \n]+/)
    for (i = 1; i <= count; i++) print_values(names[i], "cpufreq." names[i])
  }'
finish
