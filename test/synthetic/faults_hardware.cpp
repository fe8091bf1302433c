// What breaks, ages or was never the same: memory, processors, disks, cards.

#include "test/synthetic/faults.h"

namespace zelk::synthetic {

namespace {

using check::severity;

void lost_dimm(patient& ill) {
  ill.scale("mem_total_numa", "/proc/meminfo: MemTotal", 0.9364);
  ill.replace("mem_total_numa", "Node 1 MemTotal:       131925504 kB",
              "Node 1 MemTotal:       115148288 kB");
  ill.scale("mem_free_frag", "/proc/meminfo: MemTotal", 0.9364);
  ill.scale("mem_free_frag", "/proc/meminfo: MemAvailable", 0.9364);
  ill.remove("dmi_bios", "dimm.13.");
  ill.add("dmi_bios", "dimm.13.size: No Module Installed");
  ill.set("dmi_bios", "dimms.filled", "15");
  ill.set("edac_ecc", "edac.dimms", "15");
}

void slow_dimm(patient& ill) {
  ill.set("dmi_bios", "dimm.5.configured_memory_speed", "4000 MT/s");
}

void wrong_bios(patient& ill) {
  ill.set("dmi_bios", "/sys/class/dmi/id/bios_version", "2.10.2");
  ill.set("dmi_bios", "/sys/class/dmi/id/bios_date", "01/11/2024");
}

void wrong_bmc(patient& ill) {
  const std::string line = "Firmware Revision         : ";
  ill.replace("sensors_bmc", line + ill.of_class().values.at("bmc"),
              line + "5.00");
}

void wrong_microcode(patient& ill) {
  ill.replace("cpu_flags_microcode", ill.of_class().values.at("microcode"),
              "0x2b000461");
}

void threads_off(patient& ill) {
  ill.set("cpuidle_smt", "/sys/devices/system/cpu/smt/control", "off");
  ill.set("cpuidle_smt", "/sys/devices/system/cpu/smt/active", "0");
  ill.set("cpu_topology", "/sys/devices/system/cpu/online", "0-47");
  ill.set("cpu_topology", "/sys/devices/system/cpu/offline", "48-95");
  ill.set("cpu_topology", "topology.cpus", "48");
  ill.set("cpu_topology", "topology.threads_per_core_least", "1");
  ill.set("cpu_topology", "topology.threads_per_core_most", "1");
  ill.set("cpu_flags_microcode", "cpuinfo.cpus", "48");
  ill.replace("cpufreq_policy", "0-95", "0-47");
}

void processor_offline(patient& ill) {
  ill.set("cpu_topology", "/sys/devices/system/cpu/online", "0-30,32-95");
  ill.set("cpu_topology", "/sys/devices/system/cpu/offline", "31");
  ill.set("cpu_topology", "topology.cpus", "95");
  ill.set("cpu_topology", "topology.threads_per_core_least", "1");
}

void uncorrectable_memory(patient& ill) {
  ill.set("edac_ecc", "/sys/devices/system/edac/mc/mc3/ue_count", "1");
  ill.set("edac_ecc", "/sys/devices/system/edac/mc/mc3/dimm1/dimm_ue_count",
          "1");
  ill.set("edac_ecc", "edac.ue", "1");
}

void corrected_memory_storm(patient& ill) {
  ill.grow("edac_ecc", "/sys/devices/system/edac/mc/mc2/ce_count", 4711);
  ill.grow("edac_ecc", "/sys/devices/system/edac/mc/mc2/dimm0/dimm_ce_count",
           4711);
  ill.grow("edac_ecc", "edac.ce", 4711);
}

void memory_lost_by_hardware(patient& ill) {
  ill.replace("mem_free_frag", "HardwareCorrupted:     0 kB",
              "HardwareCorrupted:    12 kB");
}

void disk_failing(patient& ill) {
  ill.set("disk_smart_nvme", "smart.nvme0.smart_status.passed", "false");
  ill.set("disk_smart_nvme",
          "smart.nvme0.nvme_smart_health_information_log.critical_warning",
          "4");
}

void disk_media_errors(patient& ill) {
  ill.grow("disk_smart_nvme",
           "smart.nvme0.nvme_smart_health_information_log.media_errors", 37);
}

void disk_worn(patient& ill) {
  ill.set("disk_smart_nvme",
          "smart.nvme0.nvme_smart_health_information_log.percentage_used",
          "97");
  ill.set("disk_smart_nvme",
          "smart.nvme0.nvme_smart_health_information_log.available_spare", "6");
}

void other_disk(patient& ill) {
  ill.replace("block_devices", "EXAMPLE NVME 0.48TB", "EXAMPLE NVME 0.24TB");
  ill.replace("block_devices", "480.1 GB", "240.0 GB");
  ill.set("block_devices", "/sys/block/nvme0n1/size", "468862128");
}

void degraded_mirror(patient& ill) {
  ill.set("raid_md", "/sys/block/md0/md/degraded", "1");
  ill.set("raid_md", "md.degraded", "1");
  ill.set("raid_md", "md.failed_members", "1");
  ill.replace("raid_md", "[2/2] [UU]", "[2/1] [_U]");
}

void missing_card(patient& ill) {
  ill.set("gpu_inventory", "pci.card", "10de:2330 x 3");
  ill.set("gpu_inventory", "pci.cards", "3");
  ill.set("gpu_inventory", "nvidia.attached_gpus", "3");
  ill.remove("gpu_inventory", "nvidia.gpu.3.");
  ill.remove("gpu_errors", "nvidia.gpu.3.");
  ill.remove("gpu_errors", "nvlink.gpu3.");
  ill.set("gpu_errors", "nvidia.cards", "3");
  ill.remove("pci_devices", "pci.device: 0000:a3:00.0");
  ill.replace("pci_devices", "030200 x 4", "030200 x 3");
  ill.set("pci_devices", "pci.devices", "8");
}

void card_rows_remapped(patient& ill) {
  ill.set("gpu_errors", "nvidia.gpu.1.remapped_rows.remapped_row_unc", "2");
  ill.set("gpu_errors", "nvidia.gpu.1.remapped_rows.remapped_row_pending",
          "Yes");
}

void card_memory_uncorrectable(patient& ill) {
  ill.set("gpu_errors", "nvidia.gpu.2.ecc_errors.volatile.dram_uncorrectable",
          "3");
  ill.set("gpu_errors", "nvidia.gpu.2.ecc_errors.aggregate.dram_uncorrectable",
          "3");
}

void fan_stopped(patient& ill) {
  ill.set("sensors_bmc", "sensor.nct6779.fan2.fan", "0 rpm");
  ill.set("sensors_bmc", "hwmon.fans_still", "1");
}

void hot(patient& ill) {
  ill.scale("sensors_bmc", "sensor.coretemp.", 1.9);
  ill.scale("sensors_bmc", "hwmon.hottest", 1.9);
}

void power_supply_failed(patient& ill) {
  ill.add("sensors_bmc",
          "sel.entry: Power Supply #0x51 | Failure detected | Asserted");
  ill.set("sensors_bmc", "sel.recent", "1");
}

}  // namespace

// A flat table.
std::vector<fault> hardware_faults() {
  using enum spread;
  using enum onset;
  const std::vector<std::string> a = {"compute_a"}, gpu = {"gpu"},
                                 login = {"login"},
                                 any = {"compute_a", "compute_b", "gpu"};
  return {
      {"lost-dimm",
       "one memory module of sixteen is not seen",
       a,
       one,
       before,
       lost_dimm,
       {{}, {"mem.total", "dimms.filled", "numa.*.mem_total"}}},
      {"slow-dimm",
       "one module runs below its speed",
       a,
       one,
       before,
       slow_dimm,
       {{}, {"dimm.5.configured_speed"}}},
      {"wrong-bios",
       "an older BIOS",
       a,
       one,
       before,
       wrong_bios,
       {{}, {"dmi.bios_version", "dmi.bios_date"}}},
      {"wrong-bmc",
       "an older BMC firmware",
       any,
       one,
       before,
       wrong_bmc,
       {{}, {"bmc.firmware"}}},
      {"wrong-microcode",
       "an older microcode",
       a,
       one,
       before,
       wrong_microcode,
       {{}, {"cpuinfo.microcode"}}},
      {"threads-off",
       "simultaneous multithreading is off",
       a,
       one,
       before,
       threads_off,
       {{}, {"smt.*", "cpu.*", "cpuinfo.cpus"}}},
      {"processor-offline",
       "one processor is offline",
       a,
       one,
       last_run,
       processor_offline,
       {{}, {"cpu.online", "cpu.offline", "cpu.count"}}},
      {"uncorrectable-memory",
       "an uncorrectable memory error",
       a,
       one,
       last_run,
       uncorrectable_memory,
       {{}, {"edac.*ue*"}, severity::critical}},
      {"corrected-memory-storm",
       "4,711 corrected memory errors in a day",
       a,
       one,
       last_run,
       corrected_memory_storm,
       {{}, {"edac.*ce*"}}},
      {"memory-lost-by-hardware",
       "pages were taken out of use",
       any,
       one,
       last_run,
       memory_lost_by_hardware,
       {{}, {"mem.hardware_corrupted"}}},
      {"disk-failing",
       "a disk says that it fails",
       any,
       one,
       last_run,
       disk_failing,
       {{}, {"smart.*"}}},
      {"disk-media-errors",
       "37 new media errors of a disk",
       any,
       one,
       last_run,
       disk_media_errors,
       {{}, {"smart.*.media_errors"}}},
      {"disk-worn",
       "a disk is at the end of its life",
       any,
       one,
       before,
       disk_worn,
       {{}, {"smart.*.used", "smart.*.spare"}}},
      {"other-disk",
       "a disk of another size",
       a,
       one,
       before,
       other_disk,
       {{}, {"block.*", "disks*"}}},
      {"degraded-mirror",
       "a mirror lost a disk",
       login,
       one,
       last_run,
       degraded_mirror,
       {{}, {"md.*"}}},
      {"missing-card",
       "one of four accelerators is not seen",
       gpu,
       one,
       last_run,
       missing_card,
       {{}, {"gpu.*", "nvidia.*", "pci.*"}}},
      {"card-rows-remapped",
       "an accelerator waits to remap rows",
       gpu,
       one,
       last_run,
       card_rows_remapped,
       {{}, {"nvidia.gpu1.remapped.*", "nvidia.gpu1.rows_remapped.*"}}},
      {"card-memory-uncorrectable",
       "uncorrectable errors of an accelerator",
       gpu,
       one,
       last_run,
       card_memory_uncorrectable,
       {{}, {"nvidia.gpu2.ecc.*"}}},
      {"fan-stopped",
       "a fan stands still",
       any,
       one,
       last_run,
       fan_stopped,
       {{}, {"sensor.*.fan", "hwmon.fans_still"}}},
      {"hot",
       "its processors are twice as hot as others",
       any,
       one,
       last_run,
       hot,
       {{}, {"sensor.*.temperature", "hwmon.hottest"}}},
      {"power-supply-failed",
       "the BMC noted a failed power supply",
       any,
       one,
       last_run,
       power_supply_failed,
       {{}, {"sel.*"}}},
  };
}

}  // namespace zelk::synthetic
