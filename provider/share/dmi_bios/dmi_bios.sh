#!/bin/sh
# Make and firmware of the machine, and its memory modules.
#
# The kernel has the first in files for everybody. Memory modules stand in the
# firmware's table, for root only. Serial numbers, identifiers and asset tags
# are in neither part of what is printed.

# shellcheck source=/dev/null
. "${0%/*}/../common/prologue.sh"
need_tools xargs grep awk
need_file /sys/class/dmi/id

id=$ROOT/sys/class/dmi/id
list_present "$id/sys_vendor" "$id/product_name" "$id/product_version" \
  "$id/product_family" "$id/product_sku" "$id/board_vendor" "$id/board_name" \
  "$id/board_version" "$id/bios_vendor" "$id/bios_version" "$id/bios_date" \
  "$id/bios_release" "$id/ec_firmware_release" "$id/chassis_vendor" \
  "$id/chassis_type" "$id/chassis_version" |
  print_files || incomplete "files of /sys/class/dmi/id"

# One block for each slot; a line of it is "<tab>Name: value".
# shellcheck disable=SC2016 # the dollars belong to awk
print_modules() {
  awk '
    /^Memory Device$/ { number = slots++; inside = 1; next }
    !/^[ \t]/ { inside = 0 }
    !inside { next }
    {
      line = $0
      sub(/^[ \t]+/, "", line)
      colon = index(line, ": ")
      name = substr(line, 1, colon - 1)
      value = substr(line, colon + 2)
    }
    name == "Size" && value ~ /^[0-9]/ { filled++ }
    name ~ /^(Locator|Bank Locator|Size|Form Factor|Type|Type Detail|Speed|Manufacturer|Part Number|Rank|Configured Memory Speed|Configured Clock Speed)$/ {
      gsub(/ /, "_", name)
      sub(/[ \t]+$/, "", value)
      print "dimm." number "." tolower(name) ": " value
    }
    END {
      print "dimms.slots: " slots + 0
      print "dimms.filled: " filled + 0
    }'
}

# modules_unknown REASON: not to know them is not the same as to have none.
modules_unknown() {
  for unknown in 'dimm.*.*' dimms.slots dimms.filled; do
    printf 'unreadable: %s: %s\n' "$unknown" "$1"
  done
}

table=/sys/firmware/dmi/tables/DMI
# shellcheck disable=SC2154 # ask_tool sets tool_status and tool_output
if [ ! -e "$ROOT$table" ]; then
  missing "$table"
  modules_unknown "the firmware has no table"
elif [ ! -r "$ROOT$table" ]; then
  printf 'unreadable: %s: Permission denied\n' "$table"
  modules_unknown "Permission denied"
elif ! ask_tool dmidecode -t 17; then
  modules_unknown "no dmidecode"
elif [ "$tool_status" -eq 0 ]; then
  printf '%s\n' "$tool_output" | print_modules
else
  incomplete dmidecode
  modules_unknown "dmidecode: exit status $tool_status"
fi
finish
