#!/bin/sh
# Health, firmware and error counts of disks.
#
# The kernel knows model, firmware and refused commands of each disk. What the
# disk knows of itself takes smartctl or nvme, and root. Serial numbers and
# world-wide names are left out.

# shellcheck source=/dev/null
. "${0%/*}/../common/json.sh"
# shellcheck source=/dev/null
. "${0%/*}/../common/prologue.sh"
need_tools xargs grep awk

list_disks() {
  for disk in "$ROOT"/sys/block/sd* "$ROOT"/sys/block/hd*; do
    list_present "$disk/device/vendor" "$disk/device/model" "$disk/device/rev" \
      "$disk/device/state" "$disk/device/ioerr_cnt" "$disk/device/iotmo_cnt" \
      "$disk/size" "$disk/queue/rotational"
  done
  for disk in "$ROOT"/sys/class/nvme/nvme*; do
    list_present "$disk/model" "$disk/firmware_rev" "$disk/state" "$disk/transport" \
      "$disk/numa_node"
  done
}

# Virtual disks (vd, xvd) and those of device-mapper have nothing to tell.
disks=
for folder in "$ROOT"/sys/block/sd* "$ROOT"/sys/block/hd* "$ROOT"/sys/class/nvme/nvme*; do
  case ${folder##*/} in
    *[!a-z0-9]*) ;;
    *) [ ! -d "$folder" ] || disks="$disks ${folder##*/}" ;;
  esac
done
[ -n "$disks" ] || not_applicable "no ATA, SCSI or NVMe disk"
list_disks | print_files || incomplete "files of /sys/block"

# Of what smartctl tells in JSON: health, firmware, wear, errors and the table
# of attributes. The rest is settings, or names one disk among all of the world.
smart_kept='^(model_name|model_family|vendor|product|revision|firmware_version|user_capacity[.]bytes|rotation_rate|smart_status[.]passed|temperature[.]current|power_on_time[.]hours|power_cycle_count|scsi_grown_defect_list|scsi_error_counter_log[.].*|scsi_percentage_used_endurance_indicator|ata_smart_attributes[.]table[.][0-9]+[.](id|name|value|worst|thresh|when_failed|raw[.]value)|nvme_smart_health_information_log[.].*|smartctl[.](exit_status|messages[.][0-9]+[.]string))$'
nvme_kept='^(critical_warning|temperature|avail_spare|spare_thresh|percent_used|data_units_read|data_units_written|controller_busy_time|power_cycles|power_on_hours|unsafe_shutdowns|media_errors|num_err_log_entries|warning_temp_time|critical_comp_time)$'

# print_kept DISK PATTERN: JSON on standard input, a line "smart.DISK.PATH: TEXT"
# for each value whose path fits.
print_kept() {
  # shellcheck disable=SC2016 # the dollars belong to awk
  flatten_json | awk -v disk="$1" -v kept="$2" '
    { colon = index($0, ": ") }
    substr($0, 1, colon - 1) ~ kept { print "smart." disk "." $0 }'
}

# The exit status of smartctl is a set of bits: 1 and 2, it could not ask; the
# others tell of the disk.
ask_smartctl() {
  text=$(bounded 10 env -i PATH="$PATH" LC_ALL=C smartctl -j -i -H -A "/dev/$1")
  case $? in
    124) incomplete "smartctl /dev/$1 gave no answer in 10 s" ;;
    *) printf '%s\n' "$text" | print_kept "$1" "$smart_kept" ;;
  esac
}

ask_nvme() {
  text=$(bounded 10 env -i PATH="$PATH" LC_ALL=C nvme smart-log -o json "/dev/$1")
  nvme_status=$?
  case $nvme_status in
    0) printf '%s\n' "$text" | print_kept "$1" "$nvme_kept" ;;
    124) incomplete "nvme smart-log /dev/$1 gave no answer in 10 s" ;;
    *) printf 'failed: nvme smart-log /dev/%s: exit status %s\n' "$1" "$nvme_status" ;;
  esac
}

has_tool() {
  [ -z "$ROOT" ] || [ -n "${ZELK_PROVIDER_PATH:-}" ] || return 1
  command -v timeout >/dev/null 2>&1 && command -v env >/dev/null 2>&1 &&
    command -v "$1" >/dev/null 2>&1
}

ask_disk() {
  if [ -e "$ROOT/dev/$1" ] && [ ! -r "$ROOT/dev/$1" ]; then
    printf 'unreadable: /dev/%s: Permission denied\n' "$1"
  elif has_tool smartctl; then
    ask_smartctl "$1"
  else
    case $1 in
      nvme*) has_tool nvme && ask_nvme "$1" ;;
    esac
  fi
}

has_tool smartctl || missing smartctl
case $disks in
  *nvme*) has_tool smartctl || has_tool nvme || missing nvme ;;
esac
# A shelf of disks that all hang must not take longer than a run may.
limit=$(awk '{ printf "%d", $1 + 90 }' "$ROOT/proc/uptime" 2>/dev/null)
for disk in $disks; do
  passed=$(awk '{ printf "%d", $1 }' "$ROOT/proc/uptime" 2>/dev/null)
  if [ "${passed:-0}" -gt "${limit:-0}" ]; then
    printf 'skipped: /dev/%s: no time left\n' "$disk"
    incomplete "no time was left for some disks"
    continue
  fi
  ask_disk "$disk"
done
finish
