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

# Names of disks may change from boot to boot, so that nodes are compared without
# them: how many disks there are of each model and size, and of each such kind the
# firmware, the state, the settings and the partitions. A sector is 512 bytes
# here, whatever the disk says. What made a volume may have put an identifier of
# its own into its name.
# shellcheck disable=SC2016 # the dollars belong to awk
printf '%s\n' "$evidence" | awk '
  function value(    text) {
    text = substr($0, index($0, ": ") + 2)
    gsub(/^[ \t]+|[ \t]+$/, "", text)
    return text
  }
  function gigabytes(sectors) { return sprintf("%.1f GB", sectors * 512 / 1e9) }
  function without_identifier(name) {
    gsub(/[0-9a-fA-F]+-[0-9a-fA-F]+-[0-9a-fA-F]+-[0-9a-fA-F]+-[0-9a-fA-F]+/, "#", name)
    while (match(name, /[0-9a-f]+/)) {
      if (RLENGTH < 12) {
        done = done substr(name, 1, RSTART + RLENGTH - 1)
        name = substr(name, RSTART + RLENGTH)
      } else name = substr(name, 1, RSTART - 1) "#" substr(name, RSTART + RLENGTH)
    }
    name = done name
    done = ""
    return name
  }
  function has(text) { settings[++setting_count] = text; owner[setting_count] = disk }
  { parts = split($1, part, "/"); disk = part[4]; last = part[parts] }
  $1 ~ /^\/sys\/block\/[^\/]+\/size:$/ { disks[++count] = disk; size[disk] = value(); next }
  $1 ~ /\/device\/model:$/ { model[disk] = value(); next }
  $1 ~ /\/dm\/name:$/ { model[disk] = "volume " without_identifier(value()); next }
  $1 ~ /\/md\/level:$/ { model[disk] = "array " value(); next }
  $1 ~ /\/queue\/rotational:$/ { rotational[disk] = value() + 0 ? "rotating" : "solid"; next }
  $1 ~ /\/device\/(rev|firmware_rev):$/ { has("firmware " value()) }
  $1 ~ /\/device\/(vendor|state|numa_node):$/ { has(substr(last, 1, length(last) - 1) " " value()) }
  $1 ~ /^\/sys\/block\/[^\/]+\/ro:$/ { has(value() + 0 ? "read-only" : "writable") }
  $1 ~ /\/queue\/scheduler:$/ {
    text = value()
    if (match(text, /\[[^]]*\]/)) text = substr(text, RSTART + 1, RLENGTH - 2)
    has("scheduler " text)
  }
  $1 ~ /\/queue\// && $1 !~ /scheduler/ { has(substr(last, 1, length(last) - 1) " " value()) }
  $1 ~ /^\/sys\/block\/[^\/]+\/[^\/]+\/size:$/ && match(part[5], /[0-9]+$/) {
    has("partition " substr(part[5], RSTART) " of " gigabytes(value()))
  }
  END {
    print "disks.count: " count + 0
    for (i = 1; i <= count; i++) {
      disk = disks[i]
      kind[disk] = gigabytes(size[disk]) ", " (disk in rotational ? rotational[disk] : "unknown") ", " \
                   (disk in model ? model[disk] : "no model")
      number["disks: ", kind[disk]]++
    }
    for (i = 1; i <= setting_count; i++)
      if (owner[i] in kind) number["disks.setting: ", kind[owner[i]] ": " settings[i]]++
    for (each in number) {
      split(each, word, SUBSEP)
      print word[1] number[each] " x " word[2]
    }
  }' | sort
finish
