#!/bin/sh
# Memory errors that the hardware corrected or could not, by controller and DIMM.

# shellcheck source=/dev/null
. "${0%/*}/../common/prologue.sh"
need_tools xargs grep awk
need_file /sys/devices/system/edac
controllers=$ROOT/sys/devices/system/edac/mc

# The folder comes with the kernel, a controller with a driver that knows it.
[ -d "$controllers/mc0" ] || [ -d "$controllers/mc1" ] ||
  not_applicable "no memory controller reports to the kernel"

list_controllers() {
  for number in 0 1 2 3 4 5 6 7 8 9 10 11 12 13 14 15 16 17 18 19 20 21 22 23 \
    24 25 26 27 28 29 30 31; do
    controller=$controllers/mc$number
    [ -d "$controller" ] || continue
    list_present "$controller/mc_name" "$controller/size_mb" \
      "$controller/ce_count" "$controller/ce_noinfo_count" \
      "$controller/ue_count" "$controller/ue_noinfo_count" \
      "$controller/seconds_since_reset"
    # Newer drivers count by DIMM, older ones by row.
    for folder in dimm rank; do
      list_numbered "$controller/$folder" dimm_label dimm_location dimm_mem_type \
        dimm_dev_type dimm_edac_mode size dimm_ce_count dimm_ue_count
    done
    [ -d "$controller/dimm0" ] || [ -d "$controller/rank0" ] ||
      list_numbered "$controller/csrow" mem_type edac_mode size_mb ce_count ue_count
  done
}

evidence=$(list_controllers | print_files) || incomplete "files of /sys/devices/system/edac"
printf '%s\n' "$evidence"
# shellcheck disable=SC2016 # the dollars belong to awk
printf '%s\n' "$evidence" | awk '
  /\/mc[0-9]+\/mc_name: / { controllers++ }
  /\/mc[0-9]+\/ce_count: / { ce += $2 }
  /\/mc[0-9]+\/ue_count: / { ue += $2 }
  /\/dimm_label: / { dimms++ }
  END {
    print "edac.controllers: " controllers + 0
    print "edac.dimms: " dimms + 0
    print "edac.ce: " ce + 0
    print "edac.ue: " ue + 0
  }'
finish
