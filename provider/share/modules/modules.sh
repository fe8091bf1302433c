#!/bin/sh
# Loaded kernel modules: names, versions, and what taints the kernel.
#
# Versions are those of the loaded modules, not of the files on disk that
# `modinfo` reads: after an update the two differ until the next boot. Addresses
# and counts of users are left out; they differ from boot to boot.

# shellcheck source=/dev/null
. "${0%/*}/../common/prologue.sh"
need_tools xargs grep awk sort
need_file /proc/modules

# shellcheck disable=SC2016 # the dollars belong to awk
modules=$(awk '{ print $1, $5 }' "$ROOT/proc/modules" | sort) || incomplete /proc/modules
# shellcheck disable=SC2016 # the dollars belong to awk
printf '%s\n' "$modules" | awk '
  NF == 0 { next }
  { print "module: " $1; count++ }
  $2 != "Live" { state[++states] = "module_state: " $1 " " $2 }
  END {
    for (i = 1; i <= states; i++) print state[i]
    print "modules.count: " count + 0
  }'

list_details() {
  list_present "$ROOT/proc/sys/kernel/tainted"
  printf '%s\n' "$modules" | while read -r module _; do
    [ -z "$module" ] || list_present "$ROOT/sys/module/$module/version" \
      "$ROOT/sys/module/$module/srcversion" "$ROOT/sys/module/$module/taint"
  done
}
list_details | print_files || incomplete "files of /sys/module"
finish
