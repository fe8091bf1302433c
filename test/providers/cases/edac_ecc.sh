# shellcheck shell=sh
# Two controllers with DIMMs as newer drivers show them, one with rows as older
# ones do, and a kernel whose drivers know no controller. Made after the
# kernel's documentation of these files; not seen on real hardware.

put_dimm() {  # FOLDER LABEL CE UE
  put "$1/dimm_label" "$2\\n"
  put "$1/dimm_location" 'channel 0 slot 0 \n'
  put "$1/dimm_mem_type" 'Registered-DDR5\n'
  put "$1/dimm_dev_type" 'x4\n'
  put "$1/dimm_edac_mode" 'S4ECD4ED\n'
  put "$1/size" '65536\n'
  put "$1/dimm_ce_count" "$3\\n"
  put "$1/dimm_ue_count" "$4\\n"
}

tree_edac_ecc() {
  for number in 0 1; do
    mc=$1/sys/devices/system/edac/mc/mc$number
    put "$mc/mc_name" "Intel_10nm Socket#$number IMC#0\\n"
    put "$mc/size_mb" '131072\n'
    put_each '0\n' "$mc/ue_count" "$mc/ue_noinfo_count" "$mc/ce_noinfo_count"
    put "$mc/seconds_since_reset" '1000\n'
    put_dimm "$mc/dimm0" "CPU_SrcID#${number}_MC#0_Chan#0_DIMM#0" 0 0
    put_dimm "$mc/dimm10" "CPU_SrcID#${number}_MC#0_Chan#1_DIMM#0" 12 1
    put_dimm "$mc/dimm2" "CPU_SrcID#${number}_MC#0_Chan#0_DIMM#1" 0 0
    put "$mc/ce_count" '12\n'
  done
  put "$1/sys/devices/system/edac/mc/mc1/ue_count" '1\n'
  mc=$1-rows/sys/devices/system/edac/mc/mc0
  put "$mc/mc_name" 'F15h\n'
  put "$mc/size_mb" '32768\n'
  put_each '3\n' "$mc/ce_count" "$mc/csrow2/ce_count"
  put_each '0\n' "$mc/ue_count" "$mc/csrow2/ue_count"
  put "$mc/csrow2/mem_type" 'Unbuffered-DDR3\n'
  put "$mc/csrow2/edac_mode" 'S4ECD4ED\n'
  mkdir -p "$1-none/sys/devices/system/edac/mc"
}

stable_edac_ecc() { sed '/\/seconds_since_reset: /d'; }

test_edac_ecc() {
  check "memory errors: corrected" gives 0 edac_ecc "edac.ce: 24"
  check "memory errors: not corrected" gives 0 edac_ecc "edac.ue: 1"
  check "memory errors: modules" gives 0 edac_ecc "edac.dimms: 6"
  check "memory errors: which module" gives 0 edac_ecc \
    "/sys/devices/system/edac/mc/mc1/dimm10/dimm_ce_count: 12"
  check "memory errors: modules by number" modules_are_in_order
  tree=edac_ecc-rows
  check "memory errors: an older driver" gives 0 edac_ecc \
    "/sys/devices/system/edac/mc/mc0/csrow2/ce_count: 3"
  tree=edac_ecc-none
  check "memory errors: no controller" gives 80 edac_ecc
}

modules_are_in_order() {
  run edac_ecc
  order=$(sed -n 's,.*/mc0/dimm\([0-9]*\)/size: .*,\1,p' "$scratch/out" | tr '\n' ' ')
  [ "$order" = "0 2 10 " ] || { echo "order: $order"; return 1; }
}
