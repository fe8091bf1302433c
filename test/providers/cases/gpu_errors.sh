# shellcheck shell=sh
# The cards of gpu_inventory, of which one has lost memory rows; AMD cards as
# the driver's files show them. Made up.

# shellcheck source=/dev/null
command -v nvidia_answer >/dev/null || . "$here/cases/gpu_inventory.sh"

tree_gpu_errors() {
  put_gpu_bus "$1" 0000:1b:00.0 0x10de 0x2330 0x030200
  put_nvidia_tool "$1-tools/nvidia-smi"
  put_gpu_bus "$1-amd" 0000:c1:00.0 0x1002 0x740f 0x038000
  ras=$1-amd/sys/class/drm/card1/device/ras
  put "$ras/umc_err_count" 'ue: 1\nce: 40\n'
  put "$ras/gfx_err_count" 'ue: 0\nce: 2\n'
  mkdir -p "$1-none/sys/bus/pci/devices"
}

stable_gpu_errors() { sed 's/: .*//'; }

test_gpu_errors() {
  ln -s "$trees/gpu_errors-tools" "$scratch/gpu-errors"
  shell="env ZELK_PROVIDER_PATH=$scratch/gpu-errors:/usr/sbin:/usr/bin:/sbin:/bin"
  for line in "nvidia.cards: 2" "nvidia.gpu.1.ecc_errors.aggregate.dram_uncorrectable: 2" \
    "nvidia.gpu.0.remapped_rows.remapped_row_pending: No" \
    "nvidia.gpu.1.remapped_rows.remapped_row_pending: Yes" \
    "nvidia.gpu.1.clocks_event_reasons.clocks_event_reason_hw_slowdown: Active" \
    "nvidia.gpu.0.temperature.gpu_temp: 35 C" "nvlink.gpu0.link17.replay_errors: 3"; do
    check "card errors: $line" gives 0 gpu_errors "$line"
  done
  check "card errors: no serial number, no program" lacks gpu_errors 'SERIAL\|secret'
  shell=
  check "card errors: no tool" gives 81 gpu_errors
  tree=gpu_errors-amd
  check "card errors: AMD, corrected" gives 0 gpu_errors "amd.ce: 42"
  check "card errors: AMD, not corrected" gives 0 gpu_errors "amd.ue: 1"
  check "card errors: AMD, where" gives 0 gpu_errors \
    "/sys/class/drm/card1/device/ras/umc_err_count: ue: 1"
  tree=gpu_errors-none
  check "card errors: no card" gives 80 gpu_errors
}
