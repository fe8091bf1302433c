# shellcheck shell=sh
# Arrays: one whole, one that lacks a member and has a failed one, one that is
# being rebuilt; a controller's table of drives. Made up, in the form of
# /proc/mdstat and of storcli.

tree_raid_md() {
  put "$1/proc/mdstat" 'Personalities : [raid1] [raid6] [raid5] [raid4] \nmd0 : active raid1 nvme1n1p1[1] nvme0n1p1[0]\n      1048512 blocks super 1.2 [2/2] [UU]\n      \nmd1 : active raid5 sdd1[4] sdc1[2](F) sdb1[1] sda1[0]\n      2930270208 blocks super 1.2 level 5, 512k chunk, algorithm 2 [4/3] [UU_U]\n      [==>..................]  recovery = 12.6%% (123/976) finish=98.7min speed=143K/sec\n\nunused devices: <none>\n'
  put "$1/sys/block/md1/md/level" 'raid5\n'
  put "$1/sys/block/md1/md/raid_disks" '4\n'
  put "$1/sys/block/md1/md/array_state" 'clean\n'
  put "$1/sys/block/md1/md/degraded" '1\n'
  put "$1/sys/block/md1/md/sync_action" 'recover\n'
  put "$1/sys/block/md1/md/mismatch_cnt" '0\n'
  put "$1-whole/proc/mdstat" 'Personalities : [raid1] \nmd127 : active raid1 sdb1[1] sda1[0]\n      1048512 blocks [2/2] [UU]\n\nunused devices: <none>\n'
  put "$1-whole/sys/block/md127/md/level" 'raid1\n'
  put "$1-whole/sys/block/md127/md/degraded" '0\n'
  put "$1-empty/proc/mdstat" 'Personalities : \nunused devices: <none>\n'
  mkdir -p "$1-none/proc"
  put_tool "$1-tools/storcli64" 'cat <<"END"
CLI Version = 007.1316.0000.0000 Mar 12, 2020
Controller = 0
Status = Success
Description = None

Virtual Drives :
==============
--------------------------------------------------------------
DG/VD TYPE  State Access Consist Cache Cac sCC       Size Name
--------------------------------------------------------------
0/0   RAID1 Optl  RW     Yes     RWBD  -   ON  446.625 GB os
1/1   RAID5 Dgrd  RW     Yes     RWBD  -   ON    5.457 TB data
--------------------------------------------------------------
END'
  put_tool "$1-tools-refused/storcli64" 'echo "Insufficient privileges"; exit 1'
}

stable_raid_md() { sed '/recovery =\|resync =\|check =/d'; }

test_raid_md() {
  check "arrays: all" gives 0 raid_md "md.arrays: 2"
  check "arrays: one lacks a member" gives 0 raid_md "md.degraded: 1"
  check "arrays: a failed member" gives 0 raid_md "md.failed_members: 1"
  check "arrays: one is rebuilt" gives 0 raid_md "md.rebuilding: 1"
  check "arrays: the table" gives 0 raid_md \
    "/proc/mdstat: md0 : active raid1 nvme1n1p1[1] nvme0n1p1[0]"
  check "arrays: the file" gives 0 raid_md "/sys/block/md1/md/degraded: 1"
  check "arrays: nothing is known of a controller without its tool" gives 0 raid_md \
    "unreadable: controller.drives: no storcli or perccli"
  ln -s "$trees/raid_md-tools-refused" "$scratch/raid-refused"
  shell="env ZELK_PROVIDER_PATH=$scratch/raid-refused:/usr/sbin:/usr/bin:/sbin:/bin"
  check "arrays: nor with one that fails" gives 0 raid_md \
    "unreadable: controller.drives: storcli64: exit status 1"
  check "arrays: which counts no drives" lacks raid_md '^controller.drives'
  shell=
  tree=raid_md-whole
  check "arrays: a whole one" gives 0 raid_md "md.degraded: 0"
  tree=raid_md-empty
  check "arrays: a driver without any" gives 80 raid_md
  tree=raid_md-none
  check "arrays: no driver" gives 80 raid_md
  ln -s "$trees/raid_md-tools" "$scratch/raid"
  shell="env ZELK_PROVIDER_PATH=$scratch/raid:/usr/sbin:/usr/bin:/sbin:/bin"
  check "arrays: of a controller" gives 0 raid_md "controller.drives: 2"
  check "arrays: of a controller, degraded" gives 0 raid_md "controller.drives_not_optimal: 1"
  check "arrays: of a controller, the table" gives 0 raid_md \
    "storcli64: 1/1   RAID5 Dgrd  RW     Yes     RWBD  -   ON    5.457 TB data"
}
