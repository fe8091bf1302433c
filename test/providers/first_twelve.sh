# shellcheck shell=sh
# The cases of the first twelve providers on the trees of make_trees.sh; run.sh
# sources them.

# shellcheck disable=SC2034,SC2154 # variables that run.sh sets and reads

test_virtual_machine() {
  tree=vm
  for name in $first_twelve; do check "virtual machine: $name" matches_expected "$name"; done
  check "no credential gets out" no_credential_gets_out
}

no_credential_gets_out() {
  for name in $first_twelve; do
    run "$name"
    grep -n hunter2 "$scratch/out" "$scratch/err" && return 1
  done
  return 0
}

test_big_machine() {
  tree=big
  check "512 CPUs: cores" gives_quickly 0 cpu_topology "topology.cores: 256"
  check "512 CPUs: packages" gives_quickly 0 cpu_topology "topology.packages: 2"
  check "512 CPUs: in numeric order" cpus_are_in_order
  check "512 CPUs: two with another microcode" \
    gives_quickly 0 cpu_flags_microcode "cpuinfo.microcode: 200-201: 0x2b000461"
  check "512 CPUs: the rest" \
    gives 0 cpu_flags_microcode "cpuinfo.microcode: 0-199,202-511: 0x2b000590"
  check "512 CPUs: memory of the last node" gives_quickly 0 mem_total_numa \
    "/sys/devices/system/node/node10/meminfo: Node 10 MemTotal:       1 kB"
  if have strace; then
    check "512 CPUs: no process for each" few_processes cpu_topology
    check "512 CPUs: each file opened once" opens_once cpu_topology
  else
    skip "512 CPUs: no process for each" "no strace"
    skip "512 CPUs: each file opened once" "no strace"
  fi
}

cpus_are_in_order() {
  run cpu_topology
  sed -n 's,.*/cpu\([0-9]*\)/topology/core_id: .*,\1,p' "$scratch/out" >"$scratch/order"
  [ "$(wc -l <"$scratch/order")" -eq 512 ] || { echo "not 512 lines"; return 1; }
  sort -n -c "$scratch/order"
}

# trace EXPRESSION PROVIDER: system calls of a run, into the scratch folder.
trace() {
  ZELK_PROVIDER_ROOT=${tree:+$trees/$tree} strace -f -qq -o "$scratch/trace" -e "trace=$1" \
    "$share/$2/$2.sh" >/dev/null 2>&1
}

# The shell, its subshells, and xargs with one grep for each 128 KiB of names.
few_processes() {
  trace execve,fork,vfork,clone,clone3 "$1"
  started=$(cut -d' ' -f1 "$scratch/trace" | sort -u | wc -l)
  [ "$started" -lt 30 ] || { echo "$started processes"; return 1; }
}

opens_once() {
  trace openat "$1"
  opened=$(grep -c -F '/cpu300/topology/core_id"' "$scratch/trace")
  [ "$opened" -eq 1 ] || { echo "opened $opened times"; return 1; }
}

test_bare_machine() {
  tree=bare
  check "no vulnerabilities folder" gives 80 cpu_mitigations
  check "no huge pages at all" gives 80 thp_hugepages
  check "no network class" gives 80 net_links
  check "no clock source" gives 80 clocksource_time
  check "no processor folder" gives 80 cpu_topology
  check "no NUMA" gives 0 mem_total_numa "missing: /sys/devices/system/node"
  check "no os-release" gives 83 uname_os "missing: /etc/os-release"
  check "no processor in cpuinfo" gives 83 cpu_flags_microcode "cpuinfo.cpus: 0"
  mkdir -p "$trees/bare/usr/lib"
  echo ID=vendor >"$trees/bare/usr/lib/os-release"
  check "os-release in its other place" gives 0 uname_os "/usr/lib/os-release: ID=vendor"
  mkdir -p "$trees/bare/sys/kernel/mm/hugepages/hugepages-2048kB"
  echo 7 >"$trees/bare/sys/kernel/mm/hugepages/hugepages-2048kB/nr_hugepages"
  check "pools without transparent huge pages" \
    gives 0 thp_hugepages "missing: /sys/kernel/mm/transparent_hugepage"
}

# Files that are there and cannot be read.
test_refusals() {
  tree=vm
  net=$trees/vm/sys/class/net
  # Reading this one at its start gives "Input/output error", as a bad device does.
  ln -s /proc/self/mem "$net/eth1/speed"
  check "an input error is not passed over" gives 83 net_links \
    "unreadable: /sys/class/net/eth1/speed: Input/output error"
  check "the other links are still there" gives 83 net_links "/sys/class/net/lo/mtu: 65536"
  rm "$net/eth1/speed"
  test_live_refusal
  if can_be_nobody; then shell=$as_nobody; fi
  chmod 000 "$net/eth1/mtu" "$trees/vm/proc/cmdline"
  check "a file for root only" gives 0 net_links \
    "unreadable: /sys/class/net/eth1/mtu: Permission denied"
  check "no permission for the only file" gives 82 kernel_cmdline
  chmod 644 "$net/eth1/mtu" "$trees/vm/proc/cmdline"
  shell=
}

# A link that is down refuses to tell its speed.
test_live_refusal() {
  down=
  for link in /sys/class/net/*; do
    [ -f "$link/speed" ] && ! cat "$link/speed" >/dev/null 2>&1 && down=$link/speed
  done
  if [ -z "$down" ]; then skip "a link that is down" "no such link here"; return; fi
  tree=
  check "a link that is down" gives 0 net_links "unreadable: $down: Invalid argument"
  tree=vm
}

# What logins and containers bring along, and what names one node only.
test_busy_machine() {
  tree=busy
  net=$trees/busy/sys/class/net
  for link in vlan100 cali03d1 docker0 br-storage br-0a1b2c3d4e5f; do
    put "$net/$link/mtu" '1500\n'
  done
  # A card that was given a name of this kind stays a card.
  put "$net/eni0/mtu" '9000\n'
  put "$net/eni0/device/numa_node" '0\n'
  check "a VLAN is compared" gives 0 net_links "/sys/class/net/vlan100/mtu: 1500"
  check "a bridge of the site is compared" gives 0 net_links "/sys/class/net/br-storage/mtu: 1500"
  check "a card is compared" gives 0 net_links "/sys/class/net/eni0/mtu: 9000"
  for link in cali03d1 docker0 br-0a1b2c3d4e5f; do
    check "a link that comes and goes: $link" gives 0 net_links \
      "volatile: /sys/class/net/$link/mtu: 1500"
  done
  put "$trees/busy/proc/self/mounts" "$busy_mounts"
  for line in "volatile: tmpfs /run/user/1000 tmpfs rw,mode=700,size=6k 0 0" \
    "volatile: overlay /var/lib/docker/overlay2/0a/merged overlay rw 0 0" \
    "/proc/self/mounts: /dev/vdb /var/lib/docker xfs rw 0 0" \
    "/proc/self/mounts: nfs:/proj /proj nfs ro,vers=3,hard,mountaddr=10.0.0.2,mountport=4711,addr=10.0.0.2 0 0" \
    "/proc/self/mounts: tmpfs /tmp tmpfs rw,mode=700,size=16k 0 0" \
    "/proc/self/mounts: /dev/loop /snap/core squashfs ro 0 0" \
    "/proc/self/mounts: 10.0.0.1@o2ib,10.0.0.2@tcp:10.0.0.3@o2ib:/fs /fs lustre rw 0 0" \
    "/proc/self/mounts: (masked)@h:/x /x fuse.sshfs rw,access_key_id=(masked) 0 0"; do
    check "mounts: $line" gives 0 mounts "$line"
  done
  put "$trees/busy/proc/cmdline" "$busy_parameters"
  check "parameters that name the node are volatile" only_parameter_is 'parameter: quiet'
  check "no secret of a busy machine gets out" lacks kernel_cmdline hunter2
}
busy_mounts='tmpfs /run/user/1000 tmpfs rw,size=6k,mode=700 0 0
overlay /var/lib/docker/overlay2/0a/merged overlay rw 0 0
/dev/vdb /var/lib/docker xfs rw 0 0
nfs:/proj /proj nfs ro,vers=3,mountaddr=10.0.0.2,mountport=4711,hard,addr=10.0.0.2 0 0
tmpfs /tmp tmpfs rw,size=16k,mode=700 0 0
/dev/loop7 /snap/core squashfs ro 0 0
10.0.0.1@o2ib,10.0.0.2@tcp:10.0.0.3@o2ib:/fs /fs lustre rw 0 0
joe:hunter2@h:/x /x fuse.sshfs rw,access_key_id=hunter2 0 0
'
busy_parameters='quiet systemd.machine_id=0a1b luks.uuid=1-2 bootif=01-aa-bb-cc-dd-ee-ff hostid=1 inst.stage2=hd:UUID=1-2 cryptdevice=UUID=1-2:root ds=nocloud;h=n1 nic=eth0:aa:bb:cc:dd:ee:ff disk=/dev/disk/by-id/x\n'
only_parameter_is() {
  run kernel_cmdline
  printf '%s\n' "$1" >"$scratch/parameters"
  grep '^parameter: ' "$scratch/out" | diff "$scratch/parameters" -
}

# Values that must not get out, under names that do not look alike.
test_secrets() {
  tree=secrets
  put "$trees/secrets/proc/cmdline" 'bmcpass=hunter2 cloud-init.pwhash=hunter2 auth=user:hunter2 slurm_auth=hunter2 inst.ks=https://s/x?sig=hunter2&v=1 pass=hunter2 console=tty0 spec_store_bypass_disable=on iommu.passthrough=1 keymap=de authenticated=1\n'
  check "parameters: secrets" lacks kernel_cmdline hunter2
  for line in bmcpass=\(masked\) auth=\(masked\) spec_store_bypass_disable=on \
    iommu.passthrough=1 keymap=de authenticated=1 "inst.ks=https://s/x?sig=(masked)&v=1"; do
    check "parameters: $line" gives 0 kernel_cmdline "parameter: $line"
  done
}

# put_answer FILE STATUS TEXT: a tool that says TEXT and ends with STATUS.
put_answer() {
  printf '#!/bin/sh\ncat <<"END"\n%s\nEND\nexit %s\n' "$3" "$2" >"$1"
  chmod +x "$1"
}

# A time daemon that is dead is no time daemon that is fine.
test_clock() {
  tree=vm
  clock_tools=$scratch/clock
  mkdir "$clock_tools"
  shell="env ZELK_PROVIDER_PATH=$clock_tools:/usr/sbin:/usr/bin:/sbin:/bin"
  put_answer "$clock_tools/timedatectl" 1 "Failed to connect to bus: Host is down"
  put_answer "$clock_tools/chronyc" 1 "506 Cannot talk to daemon"
  put_answer "$clock_tools/adjtimex" 0 "       status: 8257"
  check "a dead time daemon" gives 0 clocksource_time "time.daemon: chronyd does not answer"
  check "a clock that the kernel calls out of step" gives 0 clocksource_time "time.in_step: no"
  put_answer "$clock_tools/adjtimex" 0 "       status: 8193"
  check "the kernel still thinks it is in step" gives 0 clocksource_time "time.in_step: yes"
  rm "$clock_tools/adjtimex"
  put_answer "$clock_tools/ntptime" 1 "  status 0x2041 (PLL,UNSYNC,NANO),"
  check "the tool of another daemon" gives 0 clocksource_time "kernel_clock.synchronised: no"
  # As chronyd does without rtcsync.
  put_answer "$clock_tools/chronyc" 0 "Leap status     : Normal"
  check "a daemon that keeps the kernel's mark as it is" gives 0 clocksource_time "time.in_step: yes"
  check "a daemon that answers" gives 0 clocksource_time "time.daemon: chronyd answers"
  put_answer "$clock_tools/chronyc" 0 "Leap status     : Not synchronised"
  check "a daemon without a server" gives 0 clocksource_time "time.in_step: no"
  shell=
}

test_hostile() {
  tree=hostile
  esc=$(printf '\033')
  check "a name with blanks is counted" gives 83 net_links "/sys/class/net/eth0/mtu: 1500"
  check "a name like an option" gives 83 net_links "/sys/class/net/-rf/mtu: 1501"
  # shellcheck disable=SC2016 # must not be expanded
  check "a name like a command" gives 83 net_links '/sys/class/net/$(id)`id`/mtu: 1502'
  check "an alias cannot start a line of its own" gives 83 net_links \
    "/sys/class/net/eth0/ifalias: /sys/class/net/eth0/speed: 100000"
  check "an alias cannot fake an error" gives 83 net_links \
    "/sys/class/net/eth0/ifalias: grep: /sys/class/net/eth0/mtu: Input/output error"
  check "names with control characters stay out" lacks net_links "$esc\\[31m"
  check "a fake line of os-release" gives 0 uname_os "/etc/os-release: uname.release: 1.2.3"
  check "a NUL does not hide what follows" gives 0 uname_os "/etc/os-release: AFTER_NUL=1"
  check "a last line without an end" gives 0 uname_os "/etc/os-release: ID=last-line"
  # shellcheck disable=SC2016 # must not be expanded
  check "parameters are not expanded" gives 0 kernel_cmdline 'parameter: b=$(id)'
  check "a parameter in quotes" gives 0 kernel_cmdline 'parameter: a="x y"'
  check "a lone star" gives 0 kernel_cmdline 'parameter: *'
  # shellcheck disable=SC2016 # must not be expanded
  check "a mount point like a command" gives 0 mounts \
    '/proc/self/mounts: nfs:/$(id) /mnt/`id` nfs4 rw 0 0'
  check "a setting's name with a blank" gives 0 sysctl "/proc/sys/kernel/two words: 1"
}

# The stand-in for a client whose daemon never answers ignores TERM as well. It
# ends by itself after 30 s, so that a failure leaves nothing running.
test_hung_tool() {
  tree=
  if ! have timeout; then skip "a tool that hangs" "no timeout"; return; fi
  mkdir "$scratch/hung"
  cat >"$scratch/hung/chronyc" <<'END'
#!/bin/sh
trap '' TERM
echo waiting
seconds=0
while [ "$seconds" -lt 30 ]; do
  sleep 1
  seconds=$((seconds + 1))
done
END
  chmod +x "$scratch/hung/chronyc"
  shell="env ZELK_PROVIDER_PATH=$scratch/hung:/usr/sbin:/usr/bin:/sbin:/bin"
  check "a tool that hangs is ended" ends_hung_tool
  shell=
}

ends_hung_tool() {
  gives 83 clocksource_time "chronyc: waiting" || return 1
  [ "$ticks" -lt 1500 ] || { echo "took $ticks hundredths of a second"; return 1; }
}

test_first_twelve() {
  test_virtual_machine
  test_big_machine
  test_bare_machine
  test_refusals
  test_clock
  test_busy_machine
  test_secrets
  test_hostile
  test_hung_tool
}
