#!/bin/sh
# InfiniBand and RoCE adapters: firmware, and the state of each port. Addresses
# (guid, lid, gid) are left out: they differ from node to node.

# shellcheck source=/dev/null
. "${0%/*}/../common/prologue.sh"
need_tools xargs grep awk
need_file /sys/class/infiniband

list_adapters() {
  for adapter in "$ROOT"/sys/class/infiniband/*; do
    list_present "$adapter/hca_type" "$adapter/board_id" "$adapter/fw_ver" \
      "$adapter/hw_rev" "$adapter/node_type" "$adapter/device/numa_node" \
      "$adapter/device/current_link_speed" "$adapter/device/max_link_speed" \
      "$adapter/device/current_link_width" "$adapter/device/max_link_width"
    list_numbered "$adapter/ports/" state phys_state rate link_layer cap_mask
  done
}

evidence=$(list_adapters | print_files) || incomplete "files of /sys/class/infiniband"
[ -n "$evidence" ] || not_applicable "no InfiniBand or RoCE adapter"
printf '%s\n' "$evidence"
# shellcheck disable=SC2016 # the dollars belong to awk
printf '%s\n' "$evidence" | awk '
  /\/ports\/[0-9]+\/state: / { ports++; if (/ACTIVE/) active++ }
  # An adapter of iWARP or a virtual one may have no type.
  match($0, /^\/sys\/class\/infiniband\/[^\/]+\//) { adapters[substr($0, 1, RLENGTH)] }
  END {
    for (adapter in adapters) count++
    print "ib.adapters: " count + 0
    print "ib.ports: " ports + 0
    print "ib.ports_active: " active + 0
  }'
finish
