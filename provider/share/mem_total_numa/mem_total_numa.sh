#!/bin/sh
# Memory of the machine and of each NUMA node, and the nodes' distances.

# shellcheck source=/dev/null
. "${0%/*}/../common/prologue.sh"
need_tools xargs grep awk
need_file /proc/meminfo

nodes=$ROOT/sys/devices/system/node
[ -d "$nodes" ] || missing "${nodes#"$ROOT"}"
{
  list_present "$ROOT/proc/meminfo" "$nodes/online" "$nodes/has_memory"
  list_numbered "$nodes/node" distance meminfo
} | print_files || incomplete "memory files"
finish
