#!/bin/sh
# What the kernel says of each processor vulnerability that it knows.

# shellcheck source=/dev/null
. "${0%/*}/../common/prologue.sh"
need_tools xargs grep awk
need_file /sys/devices/system/cpu/vulnerabilities

list_present "$ROOT"/sys/devices/system/cpu/vulnerabilities/* |
  print_files || incomplete "files of vulnerabilities"
finish
