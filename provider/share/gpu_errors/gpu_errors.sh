#!/bin/sh
# Errors of graphics cards and accelerators: memory errors, rows and pages taken
# out of use, links, and why a card runs slower than it could.
#
# Messages of the driver (Xid) are the kernel's, and kmsg_errors has them.

script_folder=
# shellcheck source=/dev/null
. "${0%/*}/../common/prologue.sh"
# shellcheck source=/dev/null
. "$script_folder/../common/nvidia.sh"
need_tools xargs grep awk timeout env

nvidia=no
! has_pci_card 0x10de || nvidia=yes
[ -e "$ROOT/proc/driver/nvidia" ] && nvidia=yes
[ "$nvidia" = yes ] || ! command -v nvidia-smi >/dev/null 2>&1 || nvidia=yes
amd=no
for counter in "$ROOT"/sys/class/drm/card*/device/ras/*_err_count; do
  [ ! -e "$counter" ] || amd=yes
done
[ "$nvidia$amd" != nono ] ||
  not_applicable "no NVIDIA card, and no AMD card whose driver counts errors"

# AMD: two lines a file, "ue: N" and "ce: N", for each block of the chip.
if [ "$amd" = yes ]; then
  evidence=$(list_present "$ROOT"/sys/class/drm/card*/device/ras/*_err_count | print_files) ||
    incomplete "files of /sys/class/drm"
  printf '%s\n' "$evidence"
  # shellcheck disable=SC2016 # the dollars belong to awk
  printf '%s\n' "$evidence" | awk '
    / ue: [0-9]+$/ { ue += $NF }
    / ce: [0-9]+$/ { ce += $NF }
    END { print "amd.ce: " ce + 0; print "amd.ue: " ue + 0 }'
fi

# "Link 0: Replay Errors: 0" below "GPU 0: NAME (UUID: ...)", of which nothing
# but the numbers is kept.
print_links() {
  links=$(bounded 10 env -i PATH="$PATH" LC_ALL=C HOME=/ nvidia-smi nvlink -e)
  links_status=$?
  [ "$links_status" -ne 124 ] || incomplete "nvidia-smi nvlink gave no answer in 10 s"
  # A card without such links makes the tool fail.
  [ "$links_status" -eq 0 ] || { printf 'failed: nvidia-smi nvlink -e\n'; return; }
  # shellcheck disable=SC2016 # the dollars belong to awk
  printf '%s\n' "$links" | awk '
    /^GPU [0-9]+:/ { card = $2; sub(/:/, "", card) }
    match($0, /^[ \t]+Link [0-9]+: /) {
      split(substr($0, 1, RLENGTH), words, /[ \t:]+/)
      rest = substr($0, RLENGTH + 1)
      colon = index(rest, ": ")
      name = tolower(substr(rest, 1, colon - 1))
      gsub(/[^a-z0-9]+/, "_", name)
      if (colon > 0) print "nvlink.gpu" card ".link" words[3] "." name ": " substr(rest, colon + 2)
    }'
}

kept='^gpu[.][0-9]+[.](product_name|gpu_recovery_action|gpu_reset_status[.].*|ecc_errors[.].*|retired_pages[.](multiple_single_bit_retirement|double_bit_retirement)[.]retired_count|retired_pages[.]pending_(retirement|blacklist)|remapped_rows[.].*|clocks_(event|throttle)_reasons[.].*|fabric[.](state|status|health[.].*)|temperature[.]gpu_temp|pci[.](replay_counter|replay_rollover_counter))$'
if [ "$nvidia" = yes ]; then
  if nvidia_lines; then
    # shellcheck disable=SC2016,SC2154 # dollars of awk; nvidia_lines sets it
    printf '%s\n' "$nvidia_evidence" | awk -v kept="$kept" '
      { colon = index($0, ": ") }
      substr($0, 1, colon - 1) ~ kept { print "nvidia." $0 }
      /^gpu[.][0-9]+[.]product_name: / { cards++ }
      END { print "nvidia.cards: " cards + 0 }'
    print_links
  else
    # shellcheck disable=SC2154 # nvidia_lines sets it
    if [ "$amd" = yes ]; then
      incomplete "$nvidia_reason"
    elif command -v nvidia-smi >/dev/null 2>&1; then
      stop 83 "incomplete: $nvidia_reason"
    else
      tool_missing nvidia-smi
    fi
  fi
fi
finish
