#!/bin/sh
# Health, firmware and error counts of disks.
#
# The kernel knows model, firmware and refused commands of each disk. What the
# disk knows of itself takes smartctl or nvme, and root. Serial numbers and
# world-wide names are left out.

script_folder=
# shellcheck source=/dev/null
. "${0%/*}/../common/prologue.sh"
# shellcheck source=/dev/null
. "$script_folder/../common/json.sh"
need_tools xargs grep awk sort

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
smart_kept='^(model_name|model_family|vendor|product|revision|firmware_version|user_capacity[.]bytes|rotation_rate|smart_status[.]passed|temperature[.]current|power_on_time[.]hours|power_cycle_count|scsi_grown_defect_list|scsi_error_counter_log[.].*|scsi_percentage_used_endurance_indicator|nvme_smart_health_information_log[.].*|smartctl[.](exit_status|messages[.][0-9]+[.]string))$'
nvme_kept='^(critical_warning|temperature|avail_spare|spare_thresh|percent_used|data_units_read|data_units_written|controller_busy_time|power_cycles|power_on_hours|unsafe_shutdowns|media_errors|num_err_log_entries|warning_temp_time|critical_comp_time)$'

# print_kept DISK PATTERN: JSON on standard input, a line "smart.DISK.PATH: TEXT"
# for each value whose path fits.
#
# An attribute of an ATA disk is called by its number, which means the same on
# all disks, where its place in the table does not. Its raw value is six bytes
# that some makers put several numbers into; smartctl then writes "8 (0 4)", and
# the first is the count. That an attribute never failed is an empty text.
print_kept() {
  # shellcheck disable=SC2016 # the dollars belong to awk
  flatten_json | awk -v disk="$1" -v kept="$2" '
    {
      colon = index($0, ": ")
      path = substr($0, 1, colon - 1)
      text = substr($0, colon + 2)
    }
    path ~ kept { print "smart." disk "." $0; next }
    path ~ /^ata_smart_attributes[.]table[.][0-9]+[.]/ {
      split(path, part, ".")
      row = part[3]
      sub(/^ata_smart_attributes[.]table[.][0-9]+[.]/, "", path)
      if (path == "id") rows[++count] = row
      table[row, path] = text
    }
    function show(name, text) {
      if (text != "") print "smart." disk ".attribute." table[row, "id"] "." name ": " text
    }
    END {
      for (i = 1; i <= count; i++) {
        row = rows[i]
        if (table[row, "id"] !~ /^[0-9]+$/) continue
        show("name", table[row, "name"])
        show("value", table[row, "value"])
        show("worst", table[row, "worst"])
        show("thresh", table[row, "thresh"])
        failed = table[row, "when_failed"]
        if (failed == "\"\"" || failed == "-") failed = "never"
        show("failed", failed)
        raw = table[row, "raw.value"]
        if (match(table[row, "raw.string"], /^[0-9]+/) &&
            substr(table[row, "raw.string"], RLENGTH + 1) ~ /^( |$)/)
          raw = substr(table[row, "raw.string"], 1, RLENGTH)
        show("raw", raw)
      }
    }'
}

# What the disks said so far, and why not all of them did.
answers=
silent=

# tells DISK LINES: prints what a disk told of itself.
tells() {
  [ -n "$2" ] || return 0
  printf '%s\n' "$2"
  answers="$answers$2
"
}

# tells_nothing DISK REASON: what would have come from it is not known, which is
# not the same as being without it.
tells_nothing() {
  printf 'unreadable: smart.%s.*: %s\n' "$1" "$2"
  silent=$2
}

# The exit status of smartctl is a set of bits: 1 and 2, it could not ask; the
# others tell of the disk.
ask_smartctl() {
  text=$(bounded 10 env -i PATH="$PATH" LC_ALL=C smartctl -j -i -H -A "/dev/$1")
  smart_status=$?
  if [ "$smart_status" -eq 124 ]; then
    tells_nothing "$1" "smartctl gave no answer in 10 s"
    incomplete "smartctl /dev/$1 gave no answer in 10 s"
    return
  fi
  lines=$(printf '%s\n' "$text" | print_kept "$1" "$smart_kept")
  tells "$1" "$lines"
  case $lines in
    *.smart_status.passed:*) ;;
    *)
      reason=$(printf '%s\n' "$lines" | awk '
        sub(/^smart[.][a-z0-9]+[.]smartctl[.]messages[.][0-9]+[.]string: /, "") { print; exit }')
      tells_nothing "$1" "${reason:-smartctl ended with $smart_status and tells no health}"
      ;;
  esac
}

ask_nvme() {
  text=$(bounded 10 env -i PATH="$PATH" LC_ALL=C nvme smart-log -o json "/dev/$1")
  nvme_status=$?
  case $nvme_status in
    0)
      tells "$1" "$(printf '%s\n' "$text" | print_kept "$1" "$nvme_kept")"
      silent="nvme smart-log tells no model"
      ;;
    124)
      tells_nothing "$1" "nvme smart-log gave no answer in 10 s"
      incomplete "nvme smart-log /dev/$1 gave no answer in 10 s"
      ;;
    *)
      printf 'failed: nvme smart-log /dev/%s: exit status %s\n' "$1" "$nvme_status"
      tells_nothing "$1" "nvme smart-log: exit status $nvme_status"
      ;;
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
    tells_nothing "$1" "Permission denied"
  elif has_tool smartctl; then
    ask_smartctl "$1"
  else
    case $1 in
      nvme*)
        if has_tool nvme; then ask_nvme "$1"; else tells_nothing "$1" "no smartctl and no nvme"; fi
        ;;
      *) tells_nothing "$1" "no smartctl" ;;
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
    tells_nothing "$disk" "no time left"
    incomplete "no time was left for some disks"
    continue
  fi
  ask_disk "$disk"
done

# How many disks there are of each model and firmware: their names may change
# from boot to boot. Of a part of the disks it would be a wrong number.
if [ -n "$silent" ]; then
  printf 'unreadable: smart.kinds: %s\n' "$silent"
else
  # shellcheck disable=SC2016 # the dollars belong to awk
  printf '%s' "$answers" | awk '
    {
      colon = index($0, ": ")
      text = substr($0, colon + 2)
      sub(/[ \t]+$/, "", text)
      split(substr($0, 1, colon - 1), part, ".")
      disk = part[2]
    }
    !(disk in seen) { seen[disk]; disks[++count] = disk }
    part[3] ~ /^(model_name|product)$/ { model[disk] = text }
    part[3] ~ /^(firmware_version|revision)$/ { firmware[disk] = text }
    END {
      for (i = 1; i <= count; i++)
        if (disks[i] in model)
          number[model[disks[i]] ", firmware " (disks[i] in firmware ? firmware[disks[i]] : "unknown")]++
      for (kind in number) print "smart.kinds: " number[kind] " x " kind
    }' | sort
fi
finish
