#!/bin/sh
# Arrays of disks: those of the kernel (md), and those of a RAID controller
# whose maker's tool is installed.

# shellcheck source=/dev/null
. "${0%/*}/../common/prologue.sh"
need_tools xargs grep awk

mdstat=$ROOT/proc/mdstat
controller_tool=
for tool in storcli64 storcli perccli64 perccli; do
  command -v "$tool" >/dev/null 2>&1 && { controller_tool=$tool; break; }
done

# The file comes with the driver, a line "mdN : ..." with an array.
arrays=0
if [ -e "$mdstat" ]; then
  need_file /proc/mdstat
  arrays=$(grep -c '^md[^:]* : ' "$mdstat")
fi
[ "$arrays" -gt 0 ] || [ -n "$controller_tool" ] ||
  not_applicable "no array of disks, and no tool of a RAID controller"

if [ "$arrays" -gt 0 ]; then
  list_present "$mdstat" | print_files || incomplete /proc/mdstat
  for array in "$ROOT"/sys/block/md*/md; do
    list_present "$array/level" "$array/raid_disks" "$array/array_state" \
      "$array/degraded" "$array/sync_action" "$array/mismatch_cnt"
  done | print_files || incomplete "files of /sys/block"
fi
# "[4/3] [UUU_]": of four members three are there.
# shellcheck disable=SC2016 # the dollars belong to awk
[ ! -r "$mdstat" ] || awk '
  match($0, /\[[0-9]+\/[0-9]+\]/) {
    split(substr($0, RSTART + 1, RLENGTH - 2), members, "/")
    if (members[2] + 0 < members[1] + 0) degraded++
  }
  /\(F\)/ { failed += gsub(/\(F\)/, "") }
  /(recovery|resync|reshape|check) *=/ { busy++ }
  /^md[^:]* : / { arrays++ }
  END {
    print "md.arrays: " arrays + 0
    print "md.degraded: " degraded + 0
    print "md.failed_members: " failed + 0
    print "md.rebuilding: " busy + 0
  }' "$mdstat"

# What the controller has is not known, which is not the same as no drive.
drives_unknown() {
  for unknown in storcli controller.drives controller.drives_not_optimal; do
    printf 'unreadable: %s: %s\n' "$unknown" "$1"
  done
}

# Lines of the table of virtual drives begin with group/number.
# shellcheck disable=SC2034 # ask_tool reads it
tool_seconds=20
# shellcheck disable=SC2154 # ask_tool sets tool_status and tool_output
if [ -z "$controller_tool" ] || ! ask_tool "$controller_tool" /call/vall show; then
  drives_unknown "no storcli or perccli"
elif [ "$tool_status" -ne 0 ]; then
  drives_unknown "$controller_tool: exit status $tool_status"
else
  # shellcheck disable=SC2016 # the dollars belong to awk
  printf '%s\n' "$tool_output" | awk -v tool="$controller_tool" '
    /^Controller = / { print tool ": " $0 }
    /^Status = / || /^Description = / { print tool ": " $0 }
    /^[0-9]+\/[0-9]+ / { print tool ": " $0; drives++; if ($3 != "Optl") bad++ }
    END {
      print "controller.drives: " drives + 0
      print "controller.drives_not_optimal: " bad + 0
    }'
fi
finish
