// What connects: InfiniBand, Ethernet, PCI Express.

#include "test/synthetic/faults.h"

namespace zelk::synthetic {

namespace {

constexpr char port[] = "/sys/class/infiniband/mlx5_0/ports/1";

void half_width_link(patient& ill) {
  ill.replace("ib_links", "(4X", "(2X");
  ill.scale("ib_links", std::string(port) + "/rate", 0.5);
}

void port_down(patient& ill) {
  ill.set("ib_links", std::string(port) + "/state", "1: DOWN");
  ill.set("ib_links", std::string(port) + "/phys_state", "2: Polling");
  ill.set("ib_links", "ib.ports_active", "0");
}

void half_width_slot(patient& ill) {
  ill.set("ib_links", "/sys/class/infiniband/mlx5_0/device/current_link_width",
          "8");
  ill.replace("pci_devices",
              "numa 0 link 32.0 GT/s PCIe x16 of 32.0 GT/s "
              "PCIe x16 driver mlx5_core",
              "numa 0 link 32.0 GT/s PCIe x8 of 32.0 GT/s PCIe x16 driver "
              "mlx5_core");
  ill.set("pci_devices", "pci.links_below", "1");
}

void firmware_of_half(patient& ill) {
  ill.set("ib_links", "/sys/class/infiniband/mlx5_0/fw_ver", "20.38.1900");
}

void symbol_errors(patient& ill) {
  ill.grow("ib_counters", std::string(port) + "/counters/symbol_error", 2390);
  ill.grow("ib_counters", std::string(port) + "/counters/port_rcv_errors",
           1180);
}

void checksum_errors(patient& ill) {
  ill.grow("net_links", "/sys/class/net/eno1/statistics/rx_crc_errors", 9120);
  ill.grow("net_links", "/sys/class/net/eno1/statistics/rx_errors", 9120);
}

void flapping_link(patient& ill) {
  ill.grow("net_links", "/sys/class/net/eno1/carrier_changes", 64);
}

void slow_ethernet(patient& ill) {
  ill.set("net_links", "/sys/class/net/eno1/speed", "1000");
}

void small_packets(patient& ill) {
  ill.set("net_links", "/sys/class/net/eno1/mtu", "1280");
}

void slow_pairs(patient& ill) {
  ill.scale("net_pairs", "node." + ill.name() + ".bandwidth_mb_s", 0.5);
}

}  // namespace

// A flat table.
std::vector<fault> link_faults() {
  using enum spread;
  using enum onset;
  const std::vector<std::string> b = {"compute_b"},
                                 ib = {"compute_b", "compute_a", "gpu"},
                                 any = {"compute_a", "compute_b", "gpu"};
  return {
      {"half-width-link",
       "an InfiniBand link runs at half its width",
       ib,
       one,
       last_run,
       half_width_link,
       {{}, {"ib.mlx5_0.port1.*"}}},
      {"port-down",
       "an InfiniBand port is down",
       ib,
       one,
       last_run,
       port_down,
       {{}, {"ib.*"}}},
      {"half-width-slot",
       "an adapter has half the lanes of its slot",
       ib,
       one,
       before,
       half_width_slot,
       {{}, {"ib.mlx5_0.pcie.*", "pci.*"}}},
      {"firmware-of-half",
       "half of a class has other adapter firmware",
       b,
       half_class,
       before,
       firmware_of_half,
       {{}, {"ib.mlx5_0.fw_ver"}}},
      {"symbol-errors",
       "error counters of a port grow by thousands",
       ib,
       one,
       last_run,
       symbol_errors,
       {{}, {"ib.mlx5_0.port1.*"}}},
      {"checksum-errors",
       "an Ethernet link garbles packets",
       any,
       one,
       last_run,
       checksum_errors,
       {{}, {"net.eno1.statistics.*"}}},
      {"flapping-link",
       "a link went up and down 32 times",
       any,
       one,
       last_run,
       flapping_link,
       {{}, {"net.eno1.carrier_changes"}}},
      {"slow-ethernet",
       "a link runs at 1 Gbit/s, not 10",
       any,
       one,
       last_run,
       slow_ethernet,
       {{}, {"net.eno1.speed"}}},
      {"slow-pairs",
       "measured with others, a machine has half the bandwidth",
       ib,
       one,
       last_run,
       slow_pairs,
       {{}, {"node.*.bandwidth", "pair.*"}},
       0,
       true},
      {"small-packets",
       "another packet size (MTU)",
       any,
       one,
       before,
       small_packets,
       {{}, {"net.eno1.mtu"}}},
  };
}

}  // namespace zelk::synthetic
