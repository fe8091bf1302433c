#!/bin/sh
# Kernel and operating system: what uname says, and the os-release file.

# shellcheck source=/dev/null
. "${0%/*}/../common/prologue.sh"
need_tools uname sh timeout grep awk
run_within 60

for field in s:sysname n:nodename r:release v:version m:machine; do
  value=$(uname "-${field%%:*}") || incomplete "uname -${field%%:*}"
  printf 'uname.%s: %s\n' "${field#*:}" "$value"
done

# The second place is where the first one points, if it is there at all.
os_release=/etc/os-release
evidence=$(print_etc needed "$os_release") || incomplete "$os_release"
case $evidence in
  missing:*)
    os_release=/usr/lib/os-release
    evidence=$(print_etc needed "$os_release") || incomplete "$os_release"
    ;;
esac
case $evidence in
  missing:*)
    missing /etc/os-release
    incomplete "no os-release file"
    ;;
  *) printf '%s\n' "$evidence" ;;
esac
finish
