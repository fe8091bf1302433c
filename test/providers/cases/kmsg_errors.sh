# shellcheck shell=sh
# A stand-in for dmesg that prints what `dmesg -r` prints. The lines have the
# form that the drivers give them; the machine is made up.

# 100 hours after boot; the window begins at 76 h = 273600 s.
tree_kmsg_errors() {
  put "$1/proc/uptime" '360000.00 1.00\n'
  put_tool "$1-tools/dmesg" 'cat <<"END"
<6>[    0.000000] Linux version 5.14.0-503.el9.x86_64
<3>[  100.000000] EDAC MC0: 1 UE memory read error on CPU_SrcID#0_MC#0 (long ago)
<4>[300000.000001] mce: [Hardware Error]: Machine check events logged
<6>[300000.000002] EDAC MC1: 1 CE memory read error on CPU_SrcID#1_MC#0_Chan#1_DIMM#0 (channel:1 slot:0 page:0x1234 offset:0x0)
<4>[300001.500000] NVRM: Xid (PCI:0000:1b:00): 79, pid=4711, name=python3, GPU has fallen off the bus.
<4>[300001.600000][ T4712] NVRM: Xid (PCI:0000:1b:00): 79, pid=4712, name=python3, GPU has fallen off the bus.
<3>[300002.000000] Out of memory: Killed process 31337 (hpl.x) total-vm:104857600kB, anon-rss:99614720kB, UID:1001
<3>[300003.000000] INFO: task lfs:999 blocked for more than 122 seconds.
<0>[300004.000000] watchdog: BUG: soft lockup - CPU#3 stuck for 23s! [kworker/3:1:77]
<5>[300005.000000] nfs: server nfs01 not responding, still trying
<6>[300006.000000] a.out[55]: segfault at 10 ip 000055d5c5f6b129 sp 00007ffd0a1c3b10 error 4 in a.out[55d5c5f6b000+1000]
<2>[300007.000000] blk_update_request: I/O error, dev sda, sector 2048
<4>[300007.500000] nvme nvme0: I/O 12 QID 3 timeout, aborting
<6>[300008.000000] mlx5_core 0000:3b:00.0: Port module event: module 0, Cable plugged
<4>[300009.000000] CPU5: Core temperature above threshold, cpu clock throttled (total events = 4)
<12>[300010.000000] mce: [Hardware Error]: written by a program
<4>[300010.100000] mce: CPU5: Core temperature is above threshold, cpu clock is throttled (total events = 1)
<6>[300010.110000] mce: CPU5: Core temperature/speed normal
<6>[300010.200000] nvme nvme0: Shutdown timeout set to 10 seconds
<6>[300010.210000] nvme nvme0: 16/0/0 default/read/poll queues
<4>[300010.220000] nvme nvme1: controller is down; will reset: CSTS=0xffffffff, PCI_STATUS=0xffff
<6>[300010.300000] pcieport 0000:00:01.0: AER: enabled with IRQ 30
<4>[300010.310000] pcieport 0000:00:01.0: AER: Multiple Corrected error received: 0000:01:00.0
<6>[300010.400000] ata3: SATA link down (SStatus 0 SControl 300)
<6>[300010.410000] igb 0000:01:00.0 eno1: igb: eno1 NIC Link is Down
<6>[300010.500000] mlx5_core 0000:3b:00.0: mlx5_health_try_recover:332:(pid 1): health recovery succeeded
<3>[300010.510000] mlx5_core 0000:3b:00.0: poll_health:820:(pid 0): device health compromised - reached miss count
<4>[300010.600000] NVRM: Xid (PCI:0000:1b:00): 13, pid=4711, name=a.out, Graphics SM Warp Exception
<3>[300010.700000] rcu: INFO: rcu_sched detected expedited stalls on CPUs/tasks: { 3-... } 21 jiffies s: 577
<0>[300010.800000] EDAC MC0: 1 UE memory read error on CPU_SrcID#0_MC#0_Chan#0_DIMM#0
<4>[300010.900000] Lustre: 4711:0:(client.c:2310:ptlrpc_expire_one_request()) @@@ Request sent has timed out for slow reply
<3>[300010.910000] amdgpu 0000:c1:00.0: amdgpu: GPU reset begin!
<6>[300010.920000] amdgpu 0000:c1:00.0: amdgpu: GPU reset(2) succeeded!
<6>[300010.930000] traps: b.out[77] general protection fault ip:401136 sp:7ffe4711 error:0 in b.out[401000+1000]
<3>[300010.940000] task kworker/0:1:1234 blocked for more than 120 seconds.
<3>[300010.950000] facade succeeded at defaced place
<3>[300010.960000] blk_update_request: I/O error, dev fd0, sector 0
<3>[300011.000000] something new broke at 0xffff8881deadbeef
END'
  put_tool "$1-tools-refused/dmesg" 'echo "dmesg: read kernel buffer failed: Operation not permitted" >&2; exit 1'
  put_tool "$1-tools-wrapped/dmesg" 'echo "<3>[359000.000000] EXT4-fs error (device sda1): bad header"'
  put_tool "$1-tools-broken/dmesg" 'echo "dmesg: unrecognized option" >&2; exit 1'
}

# Other users of the machine may make the kernel say something meanwhile.
stable_kmsg_errors() { sed 's/[0-9][0-9]*$//'; }

with_dmesg() { shell="env ZELK_PROVIDER_PATH=$trees/kmsg_errors-tools$1:/usr/sbin:/usr/bin:/sbin:/bin"; }

test_kmsg_errors() {
  # The folder's name has blanks and a colon, which PATH cannot have.
  ln -s "$trees/kmsg_errors-tools" "$scratch/kmsg"
  for kind in refused wrapped broken; do ln -s "$trees/kmsg_errors-tools-$kind" "$scratch/kmsg-$kind"; done
  usual=/usr/sbin:/usr/bin:/sbin:/bin
  shell="env ZELK_PROVIDER_PATH=$scratch/kmsg:$usual"
  for line in "window: 24 h" "covers_window: yes" "level.emerg: 2" "level.err: 9" \
    "class.xid: 2" "class.xid_application: 1" "class.mce: 1" "class.edac: 1" "class.edac_ue: 1" \
    "class.oom: 1" "class.lockup: 1" "class.hung_task: 2" "class.nfs_hang: 1" "class.segv: 2" \
    "class.io: 1" "class.oops: 0" "class.nvme: 2" "class.thermal: 2" "class.mlx5: 1" \
    "class.pcie: 1" "class.link: 1" "class.rcu_stall: 1" "class.lustre: 1" "class.amdgpu: 1" \
    "text: hung_task task kworker/0:1:# blocked for more than # seconds.: 1 times" \
    "text: other facade succeeded at defaced place: 1 times" \
    "text: segv a.out[#]: segfault at # ip # sp # error 4 in a.out[#]: 1 times" \
    "text: segv traps: b.out[#] general protection fault ip:# sp:# error:0 in b.out[#]: 1 times" \
    "text: other something new broke at #: 1 times" \
    "text: xid NVRM: Xid (PCI:0000:1b:00): 79, pid #, name=python3, GPU has fallen off the bus.: 2 times"; do
    check "kernel messages: ${line%%: *}" gives 0 kmsg_errors "kmsg.$line"
  done
  check "kernel messages: nothing of before the window" lacks kmsg_errors "long ago"
  check "kernel messages: nothing that a program wrote" lacks kmsg_errors "by a program"
  bare=$scratch/kmsg-bare
  mkdir "$bare"
  for tool in awk sort timeout env; do ln -s "$(command -v "$tool")" "$bare/$tool"; done
  put_tool "$bare/dmesg" 'echo "<3>[300000.1] Kernel panic"'
  shell="env ZELK_PROVIDER_PATH=$bare"
  check "kernel messages: with no tool but those it asks for" gives 0 kmsg_errors "kmsg.class.oops: 1"
  shell="env KMSG_HOURS=200 ZELK_PROVIDER_PATH=$scratch/kmsg:$usual"
  check "kernel messages: an old one that was not corrected" gives 0 kmsg_errors "kmsg.class.edac_ue: 2"
  shell="env KMSG_HOURS=200 ZELK_PROVIDER_PATH=$scratch/kmsg:$usual"
  check "kernel messages: another window" gives 0 kmsg_errors "kmsg.class.edac: 1"
  shell="env KMSG_HOURS=1d ZELK_PROVIDER_PATH=$scratch/kmsg:$usual"
  check "kernel messages: a window that is no number" gives 2 kmsg_errors
  shell="env ZELK_PROVIDER_PATH=$scratch/kmsg-refused:$usual"
  check "kernel messages: kept from this user" gives 82 kmsg_errors
  shell="env ZELK_PROVIDER_PATH=$scratch/kmsg-broken:$usual"
  check "kernel messages: an unknown failure" gives 83 kmsg_errors
  shell="env ZELK_PROVIDER_PATH=$scratch/kmsg-wrapped:$usual"
  check "kernel messages: the oldest are lost" gives 0 kmsg_errors "kmsg.covers_window: no"
}
