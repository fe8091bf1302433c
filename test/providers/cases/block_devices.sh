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
  put "$1/sys/block/dm-1/size" '2048000\n'
  put "$1/sys/block/dm-1/dm/name" 'luks-0a1b2c3d-aaaa-bbbb-cccc-0123456789ab\n'
  # The same disks, found by the kernel in another order.
  cp -R "$1" "$1-swapped"
  mv "$1-swapped/sys/block/nvme0n1" "$1-swapped/sys/block/nvme9n1"
  mv "$1-swapped/sys/block/nvme1n1" "$1-swapped/sys/block/nvme0n1"
  mv "$1-swapped/sys/block/nvme9n1" "$1-swapped/sys/block/nvme1n1"
  mv "$1-swapped/sys/block/nvme1n1/nvme0n1p1" "$1-swapped/sys/block/nvme1n1/nvme1n1p1"
  mv "$1-swapped/sys/block/sda" "$1-swapped/sys/block/sdb"
  mv "$1-swapped/sys/block/sdb/sda1" "$1-swapped/sys/block/sdb/sdb1"
  mkdir -p "$1-diskless/sys/block/loop0" "$1-none/sys"
}

# What is compared says the same whatever the disks are called.
is_the_same_swapped() {
  tree=block_devices
  run block_devices
  grep '^disks' "$scratch/out" >"$scratch/in-order"
  tree=block_devices-swapped
  run block_devices
  grep '^disks' "$scratch/out" | diff "$scratch/in-order" - && [ -s "$scratch/in-order" ]
}

test_block_devices() {
  check "disks: equal ones are counted" gives 0 block_devices \
    "disks: 2 x 3840.8 GB, solid, INTEL SSDPE2KX040T8"
  check "disks: a rotating one" gives 0 block_devices "disks: 1 x 1000.2 GB, rotating, ST1000NX0423"
  check "disks: a partition" gives 0 block_devices "/sys/block/sda/sda1/size: 1953523120"
  check "disks: firmware" gives 0 block_devices "/sys/block/nvme0n1/device/firmware_rev: VDV10170"
  check "disks: a volume" gives 0 block_devices "/sys/block/dm-0/dm/name: vg-scratch"
  check "disks: no serial number" lacks block_devices SERIAL123
  check "disks: settings of a kind" gives 0 block_devices \
    "disks.setting: 2 x 3840.8 GB, solid, INTEL SSDPE2KX040T8: scheduler none"
  check "disks: partitions of a kind" gives 0 block_devices \
    "disks.setting: 1 x 1000.2 GB, rotating, ST1000NX0423: partition 1 of 1000.2 GB"
  check "disks: a volume without its identifier" gives 0 block_devices \
    "disks: 1 x 1.0 GB, unknown, volume luks-#"
  check "disks: the same in another order" is_the_same_swapped
  tree=block_devices
  check "disks: no loop device" lacks block_devices loop
  tree=block_devices-diskless
  check "disks: a diskless node" gives 0 block_devices "disks.count: 0"
  tree=block_devices-none
  check "disks: a kernel without block devices" gives 80 block_devices
}
