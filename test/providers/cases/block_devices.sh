# shellcheck shell=sh
# A server with two equal NVMe disks and a rotating one; a diskless node.

put_disk() {  # FOLDER NAME SECTORS ROTATIONAL MODEL
  put "$1/sys/block/$2/size" "$3\\n"
  put "$1/sys/block/$2/ro" '0\n'
  put "$1/sys/block/$2/queue/rotational" "$4\\n"
  put "$1/sys/block/$2/queue/scheduler" '[none] mq-deadline kyber \n'
  put "$1/sys/block/$2/device/model" "$5\\n"
  put "$1/sys/block/$2/device/serial" 'SERIAL123\n'
}

tree_block_devices() {
  put_disk "$1" nvme0n1 7501476528 0 'INTEL SSDPE2KX040T8                     '
  put_disk "$1" nvme1n1 7501476528 0 'INTEL SSDPE2KX040T8                     '
  put_disk "$1" sda 1953525168 1 'ST1000NX0423    '
  put "$1/sys/block/sda/sda1/size" '1953523120\n'
  put "$1/sys/block/nvme0n1/nvme0n1p1/size" '2048\n'
  put "$1/sys/block/nvme0n1/device/firmware_rev" 'VDV10170\n'
  put "$1/sys/block/loop0/size" '8\n'
  put "$1/sys/block/dm-0/size" '100\n'
  put "$1/sys/block/dm-0/dm/name" 'vg-scratch\n'
  mkdir -p "$1-diskless/sys/block/loop0" "$1-none/sys"
}

test_block_devices() {
  check "disks: equal ones are counted" gives 0 block_devices \
    "disks: 2 x 3840.8 GB, solid, INTEL SSDPE2KX040T8"
  check "disks: a rotating one" gives 0 block_devices "disks: 1 x 1000.2 GB, rotating, ST1000NX0423"
  check "disks: a partition" gives 0 block_devices "/sys/block/sda/sda1/size: 1953523120"
  check "disks: firmware" gives 0 block_devices "/sys/block/nvme0n1/device/firmware_rev: VDV10170"
  check "disks: a volume" gives 0 block_devices "/sys/block/dm-0/dm/name: vg-scratch"
  check "disks: no serial number" lacks block_devices SERIAL123
  check "disks: no loop device" lacks block_devices loop
  tree=block_devices-diskless
  check "disks: a diskless node" gives 0 block_devices "disks.count: 0"
  tree=block_devices-none
  check "disks: a kernel without block devices" gives 80 block_devices
}
