#!/bin/sh
# Kernel and operating system: what uname says, and the os-release file.

# shellcheck source=/dev/null
. "${0%/*}/../common/prologue.sh"
need_tools uname xargs grep awk

for field in s:sysname n:nodename r:release v:version m:machine; do
  value=$(uname "-${field%%:*}") || incomplete "uname -${field%%:*}"
  printf 'uname.%s: %s\n' "${field#*:}" "$value"
done

# The second place is where the first one points, if it is there at all.
os_release=/etc/os-release
[ -e "$ROOT$os_release" ] || os_release=/usr/lib/os-release
if [ -e "$ROOT$os_release" ]; then
  list_present "$ROOT$os_release" | print_files || incomplete "$os_release"
else
  missing /etc/os-release
  incomplete "no os-release file"
fi
finish
