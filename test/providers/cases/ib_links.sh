# shellcheck shell=sh
# An adapter with a port up and one down, and a RoCE adapter. Made after the
# kernel's documentation of these files; not seen on real hardware.

put_ib_port() {  # FOLDER STATE PHYSICAL RATE LAYER
  put "$1/state" "$2\\n"
  put "$1/phys_state" "$3\\n"
  put "$1/rate" "$4\\n"
  put "$1/link_layer" "$5\\n"
  put "$1/cap_mask" '0x2651e848\n'
  put "$1/lid" '0x1f\n'
}

tree_ib_links() {
  adapter=$1/sys/class/infiniband/mlx5_0
  put "$adapter/hca_type" 'MT4129\n'
  put "$adapter/board_id" 'MT_0000000838\n'
  put "$adapter/fw_ver" '28.39.1002\n'
  put "$adapter/hw_rev" '0\n'
  put "$adapter/node_type" '1: CA\n'
  put "$adapter/node_guid" 'SERIAL123\n'
  put "$adapter/device/numa_node" '1\n'
  put "$adapter/device/current_link_width" '16\n'
  put_ib_port "$adapter/ports/1" '4: ACTIVE' '5: LinkUp' '400 Gb/sec (4X NDR)' InfiniBand
  put_ib_port "$adapter/ports/2" '1: DOWN' '3: Disabled' '10 Gb/sec (4X SDR)' InfiniBand
  adapter=$1/sys/class/infiniband/mlx5_bond_0
  put "$adapter/fw_ver" '22.36.1010\n'
  put_ib_port "$adapter/ports/1" '4: ACTIVE' '5: LinkUp' '100 Gb/sec (4X EDR)' Ethernet
  adapter=$1-roce/sys/class/infiniband/bnxt_re0
  put "$adapter/fw_ver" '230.0.162.0\n'
  put "$adapter/hca_type" 'BCM57508\n'
  put_ib_port "$adapter/ports/1" '4: ACTIVE' '5: LinkUp' '25 Gb/sec (1X EDR)' Ethernet
  mkdir -p "$1-empty/sys/class/infiniband" "$1-none/sys/class"
}

test_ib_links() {
  check "adapters: state" gives 0 ib_links "/sys/class/infiniband/mlx5_0/ports/2/state: 1: DOWN"
  check "adapters: rate" gives 0 ib_links \
    "/sys/class/infiniband/mlx5_0/ports/1/rate: 400 Gb/sec (4X NDR)"
  check "adapters: firmware" gives 0 ib_links "/sys/class/infiniband/mlx5_bond_0/fw_ver: 22.36.1010"
  check "adapters: all" gives 0 ib_links "ib.adapters: 2"
  check "adapters: ports" gives 0 ib_links "ib.ports: 3"
  check "adapters: active ports" gives 0 ib_links "ib.ports_active: 2"
  check "adapters: no address" lacks ib_links 'SERIAL\|/lid:'
  tree=ib_links-roce
  check "adapters: another maker" gives 0 ib_links "ib.ports_active: 1"
  tree=ib_links-empty
  check "adapters: a driver without any" gives 80 ib_links
  tree=ib_links-none
  check "adapters: none" gives 80 ib_links
}
