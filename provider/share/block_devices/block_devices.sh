#!/bin/sh
# Disks: size, model, firmware and the settings of their queues, and what equal
# disks there are.
#
# Serial numbers are left out: they tell nodes apart, not faults. So are loop and
# memory devices, which show what runs rather than what is built in.

# shellcheck source=/dev/null
. "${0%/*}/../common/prologue.sh"
need_tools xargs grep awk sort
need_file /sys/block

list_disks() {
  for disk in "$ROOT"/sys/block/*; do
    case ${disk##*/} in
      '*' | loop[0-9]* | ram[0-9]* | zram[0-9]* | *[[:cntrl:][:space:]:]*) continue ;;
    esac
    list_disk "$disk"
  done
}

# nvme keeps its firmware's version under another name than other disks.
list_disk() {
  list_present "$1/size" "$1/ro" "$1/removable" "$1/device/vendor" "$1/device/model" \
    "$1/device/rev" "$1/device/firmware_rev" "$1/device/state" "$1/device/numa_node" \
    "$1/dm/name" "$1/md/level"
  for setting in rotational scheduler read_ahead_kb nr_requests max_sectors_kb \
    logical_block_size physical_block_size write_cache nomerges rq_affinity \
    wbt_lat_usec; do
    list_present "$1/queue/$setting"
  done
  list_present "$1/${1##*/}"*/size
}

evidence=$(list_disks | print_files) || incomplete "files of /sys/block"
[ -z "$evidence" ] || printf '%s\n' "$evidence"

# Names of disks may change from boot to boot, so that nodes can be compared
# without them: how many disks there are of each model and size. A sector is 512
# bytes here, whatever the disk says.
# shellcheck disable=SC2016 # the dollars belong to awk
printf '%s\n' "$evidence" | awk '
  function value(text) {
    text = substr($0, index($0, ": ") + 2)
    gsub(/^[ \t]+|[ \t]+$/, "", text)
    return text
  }
  { split($1, part, "/"); disk = part[4] }
  $1 ~ /^\/sys\/block\/[^\/]+\/size:$/ { disks[++count] = disk; size[disk] = value() }
  $1 ~ /\/device\/model:$/ { model[disk] = value() }
  $1 ~ /\/queue\/rotational:$/ { rotational[disk] = value() + 0 ? "rotating" : "solid" }
  END {
    print "disks.count: " count + 0
    for (i = 1; i <= count; i++) {
      disk = disks[i]
      kind = sprintf("%.1f GB, %s, %s", size[disk] * 512 / 1e9, disk in rotational ? rotational[disk] : "unknown",
                     disk in model ? model[disk] : "no model")
      if (!(kind in number)) kinds[++kind_count] = kind
      number[kind]++
    }
    for (i = 1; i <= kind_count; i++) print "disks: " number[kinds[i]] " x " kinds[i]
  }' | sort
finish
