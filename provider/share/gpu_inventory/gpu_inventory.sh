#!/bin/sh
# Graphics cards and accelerators: models, firmware, driver, limits and links.
# Serial numbers and identifiers are left out, and so is what changes by use.

script_folder=
# shellcheck source=/dev/null
. "${0%/*}/../common/prologue.sh"
# shellcheck source=/dev/null
. "$script_folder/../common/nvidia.sh"
# shellcheck source=/dev/null
. "$script_folder/../common/json.sh"
need_tools xargs grep awk timeout env

nvidia=no
amd=no
! has_pci_card 0x10de || nvidia=yes
! has_pci_card 0x1002 || amd=yes
[ -e "$ROOT/proc/driver/nvidia" ] && nvidia=yes
if [ "$nvidia$amd" = nono ]; then
  command -v nvidia-smi >/dev/null 2>&1 && nvidia=yes
  command -v rocm-smi >/dev/null 2>&1 && amd=yes
fi
[ "$nvidia$amd" != nono ] || not_applicable "no NVIDIA or AMD card on the PCI bus"

# What the bus and the drivers say, without any tool.
# shellcheck disable=SC2016 # the dollars belong to awk
count_cards() {
  for card in "$ROOT"/sys/bus/pci/devices/*; do
    [ -r "$card/class" ] || continue
    read -r card_class <"$card/class"
    read -r card_vendor <"$card/vendor"
    read -r card_device <"$card/device"
    case $card_vendor:$card_class in
      0x10de:0x03* | 0x10de:0x12* | 0x1002:0x03* | 0x1002:0x12*)
        printf '%s:%s\n' "${card_vendor#0x}" "${card_device#0x}"
        ;;
    esac
  done | awk '
    { if (!($0 in count)) order[++kinds] = $0; count[$0]++; cards++ }
    END {
      for (i = 1; i <= kinds; i++) print "pci.card: " order[i] " x " count[order[i]]
      print "pci.cards: " cards + 0
    }'
}
count_cards
{
  list_present "$ROOT/proc/driver/nvidia/version" "$ROOT/sys/module/nvidia/version" \
    "$ROOT/sys/module/amdgpu/version"
  for card in "$ROOT"/sys/class/drm/card[0-9]/device "$ROOT"/sys/class/drm/card[0-9][0-9]/device; do
    [ -e "$card/mem_info_vram_total" ] || continue
    list_present "$card/vendor" "$card/device" "$card/vbios_version" \
      "$card/mem_info_vram_total" "$card/current_compute_partition" \
      "$card/current_memory_partition" "$card/current_link_speed" \
      "$card/max_link_speed" "$card/current_link_width" "$card/max_link_width"
  done
} | print_files || incomplete "files of the drivers"

nvidia_kept='^(driver_version|cuda_version|attached_gpus|gpu[.][0-9]+[.](product_name|product_brand|product_architecture|persistence_mode|addressing_mode|vbios_version|mig_mode[.]current_mig|inforom_version[.].*|gsp_firmware_version|gpu_part_number|ecc_mode[.](current_ecc|pending_ecc)|compute_mode|pci[.]pci_gpu_link_info[.](pcie_gen|link_widths)[.].*|fb_memory_usage[.]total|(gpu_power_readings|power_readings)[.](current_power_limit|power_limit|default_power_limit|max_power_limit|enforced_power_limit)|applications_clocks[.].*|max_clocks[.].*|fabric[.](state|status)))$'
if [ "$nvidia" = yes ]; then
  if nvidia_lines; then
    # shellcheck disable=SC2016,SC2154 # dollars of awk; nvidia_lines sets it
    printf '%s\n' "$nvidia_evidence" | awk -v kept="$nvidia_kept" '
      { colon = index($0, ": ") }
      substr($0, 1, colon - 1) ~ kept { print "nvidia." $0 }'
  else
    # shellcheck disable=SC2154 # nvidia_lines sets it
    incomplete "$nvidia_reason"
  fi
fi

# The tool writes one object for each card; serials and identifiers are not asked.
if [ "$amd" = yes ]; then
  if ! command -v rocm-smi >/dev/null 2>&1; then
    missing rocm-smi
    printf 'unreadable: amd.*.*: no rocm-smi\n'
  elif [ -z "$ROOT" ] || [ -n "${ZELK_PROVIDER_PATH:-}" ]; then
    text=$(bounded 30 env -i PATH="$PATH" LC_ALL=C HOME=/ rocm-smi --showproductname --showvbios \
      --showdriverversion --showmaxpower --showperflevel --json)
    case $? in
      0) printf '%s\n' "$text" | flatten_json |
        awk '!/serial|unique|guid/ { print "amd." $0 }' ;;
      124) incomplete "rocm-smi gave no answer in 30 s" ;;
      *) incomplete "rocm-smi failed" ;;
    esac
  fi
fi
finish
