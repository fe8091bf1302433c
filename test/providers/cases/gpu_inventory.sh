# shellcheck shell=sh
# Nodes with NVIDIA cards and with AMD cards. The stand-ins print what
# `nvidia-smi -q -x` (driver 550) and `rocm-smi --json` print, shortened. Made
# up: no machine with such a card was at hand.

put_gpu_bus() {  # ROOT ADDRESS VENDOR DEVICE CLASS
  put "$1/sys/bus/pci/devices/$2/vendor" "$3\\n"
  put "$1/sys/bus/pci/devices/$2/device" "$4\\n"
  put "$1/sys/bus/pci/devices/$2/class" "$5\\n"
}

nvidia_card() {  # BUS UNCORRECTABLE PENDING SLOWED WIDTH
  cat <<END
	<gpu id="00000000:$1:00.0">
		<product_name>NVIDIA H100 80GB HBM3</product_name>
		<product_brand>NVIDIA</product_brand>
		<product_architecture>Hopper</product_architecture>
		<persistence_mode>Enabled</persistence_mode>
		<mig_mode>
			<current_mig>Disabled</current_mig>
			<pending_mig>Disabled</pending_mig>
		</mig_mode>
		<mig_devices>
			None
		</mig_devices>
		<serial>SERIAL123</serial>
		<uuid>GPU-SERIAL123</uuid>
		<vbios_version>96.00.89.00.01</vbios_version>
		<inforom_version>
			<img_version>G520.0200.00.05</img_version>
		</inforom_version>
		<gpu_recovery_action>None</gpu_recovery_action>
		<gpu_reset_status>
			<reset_required>No</reset_required>
		</gpu_reset_status>
		<ibmnpu>
			<relaxed_ordering_mode>N/A</relaxed_ordering_mode>
		</ibmnpu>
		<pci>
			<pci_bus>$1</pci_bus>
			<pci_gpu_link_info>
				<pcie_gen>
					<max_link_gen>5</max_link_gen>
					<current_link_gen>5</current_link_gen>
				</pcie_gen>
				<link_widths>
					<max_link_width>16x</max_link_width>
					<current_link_width>$5</current_link_width>
				</link_widths>
			</pci_gpu_link_info>
			<replay_counter>0</replay_counter>
		</pci>
		<clocks_event_reasons>
			<clocks_event_reason_gpu_idle>Active</clocks_event_reason_gpu_idle>
			<clocks_event_reason_hw_slowdown>$4</clocks_event_reason_hw_slowdown>
		</clocks_event_reasons>
		<fb_memory_usage>
			<total>81559 MiB</total>
			<used>4 MiB</used>
		</fb_memory_usage>
		<ecc_mode>
			<current_ecc>Enabled</current_ecc>
		</ecc_mode>
		<ecc_errors>
			<volatile>
				<sram_correctable>0</sram_correctable>
				<dram_uncorrectable>0</dram_uncorrectable>
			</volatile>
			<aggregate>
				<sram_correctable>0</sram_correctable>
				<dram_uncorrectable>$2</dram_uncorrectable>
			</aggregate>
		</ecc_errors>
		<retired_pages>
			<multiple_single_bit_retirement>
				<retired_count>N/A</retired_count>
			</multiple_single_bit_retirement>
		</retired_pages>
		<remapped_rows>
			<remapped_row_corr>0</remapped_row_corr>
			<remapped_row_unc>$2</remapped_row_unc>
			<remapped_row_pending>$3</remapped_row_pending>
			<remapped_row_failure>No</remapped_row_failure>
			<row_remapper_histogram>
				<row_remapper_histogram_max>2560 bank(s)</row_remapper_histogram_max>
			</row_remapper_histogram>
		</remapped_rows>
		<temperature>
			<gpu_temp>35 C</gpu_temp>
		</temperature>
		<gpu_power_readings>
			<power_draw>71.16 W</power_draw>
			<current_power_limit>700.00 W</current_power_limit>
		</gpu_power_readings>
		<max_clocks>
			<graphics_clock>1980 MHz</graphics_clock>
		</max_clocks>
		<fabric>
			<state>Completed</state>
			<status>Success</status>
		</fabric>
		<processes>
			<process_info>
				<pid>4711</pid>
				<process_name>secret-project</process_name>
			</process_info>
		</processes>
	</gpu>
END
}

nvidia_answer() {
  cat <<'END'
<?xml version="1.0" ?>
<!DOCTYPE nvidia_smi_log SYSTEM "nvsmi_device_v12.dtd">
<nvidia_smi_log>
	<timestamp>Sat Nov 21 12:00:00 2026</timestamp>
	<driver_version>550.54.15</driver_version>
	<cuda_version>12.4</cuda_version>
	<attached_gpus>2</attached_gpus>
END
  nvidia_card 1B 0 No 'Not Active' 16x
  nvidia_card 43 2 Yes Active 8x
  echo '</nvidia_smi_log>'
}

nvidia_links() {
  printf 'GPU 0: NVIDIA H100 80GB HBM3 (UUID: GPU-SERIAL123)\n'
  printf '\t Link 0: Replay Errors: 0\n\t Link 0: Recovery Errors: 0\n\t Link 17: Replay Errors: 3\n'
}

put_nvidia_tool() {  # FILE
  put_tool "$1" "case \$1 in
-q) cat <<'END'
$(nvidia_answer)
END
;;
nvlink) cat <<'END'
$(nvidia_links)
END
;; esac"
}

tree_gpu_inventory() {
  for name in "$1" "$1-amd" "$1-console"; do
    put_gpu_bus "$name" 0000:03:00.0 0x1a03 0x2000 0x030000
  done
  put_gpu_bus "$1" 0000:1b:00.0 0x10de 0x2330 0x030200
  put_gpu_bus "$1" 0000:43:00.0 0x10de 0x2330 0x030200
  put "$1/sys/module/nvidia/version" '550.54.15\n'
  put_nvidia_tool "$1-tools/nvidia-smi"
  put_tool "$1-tools-lost/nvidia-smi" 'echo "Unable to determine the device handle for GPU 0000:1B:00.0: Unknown Error"; exit 255'
  put_gpu_bus "$1-amd" 0000:c1:00.0 0x1002 0x740f 0x038000
  card=$1-amd/sys/class/drm/card1/device
  put "$card/vbios_version" '113-D67301-063\n'
  put "$card/mem_info_vram_total" '68702699520\n'
  put "$card/max_link_speed" '16.0 GT/s PCIe\n'
  put "$card/unique_id" 'SERIAL123\n'
  put_tool "$1-tools-amd/rocm-smi" 'echo "{\"card0\": {\"Card series\": \"Example Instinct\", \"Card SKU\": \"D67301\", \"GUID\": \"SERIAL123\", \"VBIOS version\": \"113-D67301-063\", \"Max Graphics Package Power (W)\": \"300.0\", \"Performance Level\": \"auto\"}, \"system\": {\"Driver version\": \"6.3.6\"}}"'
}

test_gpu_inventory() {
  usual=/usr/sbin:/usr/bin:/sbin:/bin
  for kind in '' -lost -amd; do ln -s "$trees/gpu_inventory-tools$kind" "$scratch/gpu$kind"; done
  shell="env ZELK_PROVIDER_PATH=$scratch/gpu:$usual"
  for line in "pci.cards: 2" "pci.card: 10de:2330 x 2" "nvidia.driver_version: 550.54.15" \
    "nvidia.attached_gpus: 2" "nvidia.gpu.1.product_name: NVIDIA H100 80GB HBM3" \
    "nvidia.gpu.1.mig_mode.current_mig: Disabled" \
    "nvidia.gpu.1.pci.pci_gpu_link_info.link_widths.current_link_width: 8x" \
    "nvidia.gpu.0.gpu_power_readings.current_power_limit: 700.00 W" \
    "/sys/module/nvidia/version: 550.54.15"; do
    check "cards: $line" gives 0 gpu_inventory "$line"
  done
  check "cards: no serial number, no program" lacks gpu_inventory 'SERIAL\|secret\|power_draw\|4 MiB'
  shell="env ZELK_PROVIDER_PATH=$scratch/gpu-lost:$usual"
  check "cards: a card fallen off the bus" gives 83 gpu_inventory "pci.cards: 2"
  check "cards: and the reason" has_reason "Unable to determine the device handle"
  shell=
  check "cards: no tool" gives 83 gpu_inventory "pci.cards: 2"
  test_gpu_hung
  tree=gpu_inventory-amd
  shell="env ZELK_PROVIDER_PATH=$scratch/gpu-amd:$usual"
  check "cards: AMD, the file" gives 0 gpu_inventory \
    "/sys/class/drm/card1/device/mem_info_vram_total: 68702699520"
  check "cards: AMD, the tool" gives 0 gpu_inventory "amd.card0.card_series: Example Instinct"
  check "cards: AMD, the driver" gives 0 gpu_inventory "amd.system.driver_version: 6.3.6"
  check "cards: AMD, no serial number" lacks gpu_inventory SERIAL
  tree=gpu_inventory-console
  shell=
  check "cards: one for the console only" gives 80 gpu_inventory
}

has_reason() { grep -q -F -e "$1" "$scratch/err" || { cat "$scratch/err"; return 1; }; }

# A tool that ignores TERM; it ends by itself, so that a failure leaves nothing.
test_gpu_hung() {
  # shellcheck disable=SC2016 # the text is a script
  put_tool "$scratch/gpu-hung/nvidia-smi" 'trap "" TERM
i=0
while [ "$i" -lt 50 ]; do sleep 1; i=$((i + 1)); done'
  shell="env ZELK_PROVIDER_PATH=$scratch/gpu-hung:$usual"
  check "cards: a tool that hangs" gives 83 gpu_inventory "pci.cards: 2"
  check "cards: and its reason" has_reason "no answer in 30 s"
}
