#!/bin/sh
# When the machine was booted, and what is known of why.
#
# The record of logins (wtmp, `last`) would tell more, but it lies under /var,
# which may be remote and dead, and newer systems no longer write it. What the
# kernel itself kept of the previous boot is local: crash records (pstore) and
# the watchdog's boot status, where 32 (WDIOF_CARDRESET) says that it fired.

# shellcheck source=/dev/null
. "${0%/*}/../common/prologue.sh"
need_tools xargs grep awk
need_file /proc/uptime

list_present "$ROOT/proc/uptime" "$ROOT/proc/sys/kernel/random/boot_id" \
  "$ROOT"/sys/class/watchdog/watchdog*/bootstatus |
  print_files || incomplete "boot files"

if [ -r "$ROOT/proc/stat" ]; then
  awk '$1 == "btime" { print "/proc/stat: " $0 }' "$ROOT/proc/stat"
else
  incomplete /proc/stat
fi

pstore=/sys/fs/pstore
if [ ! -d "$ROOT$pstore" ]; then
  missing "$pstore"
elif [ ! -r "$ROOT$pstore" ]; then
  printf 'unreadable: %s: Permission denied\n' "$pstore"
else
  for crash_record in "$ROOT$pstore"/*; do
    [ -e "$crash_record" ] && printf 'pstore: %s\n' "${crash_record##*/}"
  done
fi
finish
