# shellcheck shell=sh
# A bus with a bridge, two network cards of which one has lost half its lanes,
# an accelerator at a lower speed, and a device on the chip. Made up; the form
# of the files is that of Linux 6.18, where the plain ones were read for real.

put_pci() {  # FOLDER VENDOR DEVICE CLASS DRIVER [SPEED WIDTH MOST WIDEST]
  put "$1/vendor" "$2\\n"
  put "$1/device" "$3\\n"
  put "$1/class" "$4\\n"
  put "$1/subsystem_vendor" "$2\\n"
  put "$1/subsystem_device" '0x0001\n'
  put "$1/revision" '0x00\n'
  put "$1/numa_node" '0\n'
  put "$1/uevent" "${5:+DRIVER=$5\\n}PCI_CLASS=${4#0x}\\nPCI_ID=X\\n"
  [ $# -gt 5 ] || return 0
  put "$1/current_link_speed" "$6\\n"
  put "$1/current_link_width" "$7\\n"
  put "$1/max_link_speed" "$8\\n"
  put "$1/max_link_width" "$9\\n"
}

tree_pci_devices() {
  bus=$1/sys/bus/pci/devices
  put_pci "$bus/0000:00:00.0" 0x8086 0x09a2 0x088000 ''
  put_pci "$bus/0000:15:01.0" 0x8086 0x352a 0x060400 pcieport '8.0 GT/s PCIe' 8 '32.0 GT/s PCIe' 16
  put_pci "$bus/0000:16:00.0" 0x15b3 0x1021 0x020700 mlx5_core '32.0 GT/s PCIe' 16 '32.0 GT/s PCIe' 16
  put_pci "$bus/0000:40:00.0" 0x15b3 0x1021 0x020700 mlx5_core '32.0 GT/s PCIe' 8 '32.0 GT/s PCIe' 16
  put_pci "$bus/0000:1b:00.0" 0x10de 0x2330 0x030200 nvidia '2.5 GT/s PCIe' 16 '32.0 GT/s PCIe' 16
  put_pci "$bus/0000:7e:00.0" 0x8086 0x3245 0x088000 '' Unknown 0 Unknown 255
  put_pci "$1-few/sys/bus/pci/devices/0000:01:00.0" 0x14e4 0x16d7 0x020000 bnxt_en '8.0 GT/s PCIe' 8 '8.0 GT/s PCIe' 8
  mkdir -p "$1-none/sys/bus/pci/devices" "$1-bare/sys/bus"
  put_many_pci "$1-many/sys/bus/pci/devices"
}

# 400 devices, with one process for all folders.
put_many_pci() {
  mkdir -p "$1"
  i=0
  while [ "$i" -lt 400 ]; do
    echo "$i"
    i=$((i + 1))
  done | awk -v bus="$1" '{ printf "%s/0000:%02x:%02x.0%c", bus, $1 / 32, $1 % 32, 10 }' >"$1.list"
  tr '\n' '\0' <"$1.list" | xargs -0 mkdir -p
  while IFS= read -r device; do
    echo 0x8086 >"$device/vendor"
    echo 0x3245 >"$device/device"
    echo 0x088000 >"$device/class"
    echo '8.0 GT/s PCIe' >"$device/current_link_speed"
    echo '8.0 GT/s PCIe' >"$device/max_link_speed"
    echo 4 >"$device/current_link_width"
    echo 4 >"$device/max_link_width"
  done <"$1.list"
}

# A device that does nothing may go to a lower speed at any moment.
stable_pci_devices() { sed '/^pci\.link_below: /d; /^pci\.links_below: /d; s/ link .* of / link of /'; }

test_pci_devices() {
  check "bus: a device" gives 0 pci_devices \
    "pci.device: 0000:16:00.0 15b3:1021 class 020700 revision 00 subsystem 15b3:0001 numa 0 link 32.0 GT/s PCIe x16 of 32.0 GT/s PCIe x16 driver mlx5_core"
  check "bus: a device on the chip" gives 0 pci_devices \
    "pci.device: 0000:7e:00.0 8086:3245 class 088000 revision 00 subsystem 8086:0001 numa 0"
  check "bus: equal devices" gives 0 pci_devices "pci.kind: 15b3:1021 class 020700 x 2"
  check "bus: lanes lost" gives 0 pci_devices \
    "pci.link_below: 0000:40:00.0 15b3:1021 class 020700 32.0 GT/s PCIe x8 of 32.0 GT/s PCIe x16"
  check "bus: speed lost" gives 0 pci_devices \
    "pci.link_below: 0000:1b:00.0 10de:2330 class 030200 2.5 GT/s PCIe x16 of 32.0 GT/s PCIe x16"
  check "bus: a bridge does not count" gives 0 pci_devices "pci.links_below: 2"
  check "bus: all" gives 0 pci_devices "pci.devices: 6"
  ln -s /proc/self/mem "$trees/pci_devices/sys/bus/pci/devices/0000:00:00.0/max_link_speed"
  check "bus: an input error is not passed over" gives 83 pci_devices \
    "unreadable: /sys/bus/pci/devices/0000:00:00.0/max_link_speed: Input/output error"
  rm "$trees/pci_devices/sys/bus/pci/devices/0000:00:00.0/max_link_speed"
  tree=pci_devices-many
  check "bus: 400 devices" gives_quickly 0 pci_devices "pci.devices: 400"
  tree=pci_devices-few
  check "bus: all links at their best" gives 0 pci_devices "pci.links_below: 0"
  tree=pci_devices-none
  check "bus: an empty one" gives 80 pci_devices
  tree=pci_devices-bare
  check "bus: none" gives 80 pci_devices
}
