#!/bin/sh
# Tests of the shipped data providers.
#
#   run.sh [ROOT]     ROOT holds etc/providers and provider/share; default: this
#                     source tree
#
# One line a case: "ok", "not ok" or "skip" (with the reason), and a summary.
# Exit status 1 when a case failed. Needs no privileges; as root it also runs
# everything as nobody.
#
# A provider is judged on this machine under every shell and every awk that is
# here, and on recorded trees (make_trees.sh) where the answer is known.
set -u
here=$(cd "$(dirname "$0")" && pwd)
root=${1:-$here/../..}
root=$(cd "$root" && pwd)
LC_ALL=C
export LC_ALL
unset ZELK_PROVIDER_ROOT ZELK_PROVIDER_PATH

providers='boot_uptime clocksource_time cpu_flags_microcode cpu_mitigations
  cpu_topology kernel_cmdline mem_total_numa mounts net_links sysctl
  thp_hugepages uname_os'

scratch=$(mktemp -d) || exit 2
trap 'chmod -R u+rwX "$scratch"; rm -rf "$scratch"' EXIT
trap 'exit 130' INT TERM
chmod 755 "$scratch"
# An install root and a tree with blanks in their names, readable by nobody. A
# colon in the tree's name would be taken for the end of a path.
share="$scratch/install root/provider/share"
trees="$scratch/recorded t:rees"
mkdir -p "$share"
cp -R -p "$root/provider/share/." "$share"
chmod -R go+rX "$scratch/install root"
"$here/make_trees.sh" "$trees" || exit 2
chmod -R go+rX "$trees"

passed=0
failed=0
skipped=0
ok() { passed=$((passed + 1)); echo "ok $1"; }
not_ok() { failed=$((failed + 1)); echo "not ok $1: $2"; }
skip() { skipped=$((skipped + 1)); echo "skip $1: $2"; }
have() { command -v "$1" >/dev/null 2>&1; }

# check NAME COMMAND...: the case holds when the command succeeds; what it
# prints says why it does not.
check() {
  check_name=$1
  shift
  if check_why=$("$@" 2>&1); then ok "$check_name"; else not_ok "$check_name" "$check_why"; fi
}

# Runs a provider: `out`, `err` in the scratch folder, `status`, `ticks` (1/100 s).
# The words of $shell go in front; TREE names a recorded tree.
shell=
tree=
ticks_now() { awk '{ printf "%d", $1 * 100 }' /proc/uptime; }
run() {
  run_start=$(ticks_now)
  # shellcheck disable=SC2086 # a shell may be two words: busybox ash
  ${tree:+env} ${tree:+"ZELK_PROVIDER_ROOT=$trees/$tree"} \
    $shell "$share/$1/$1.sh" >"$scratch/out" 2>"$scratch/err"
  status=$?
  ticks=$(($(ticks_now) - run_start))
}

# Removes the lines that doc/providers.md calls volatile. In what is left a
# provider must say the same twice.
stable() {
  case $1 in
    boot_uptime) sed '/^\/proc\/uptime: /d' ;;
    clocksource_time) sed '/^timedatectl: .*TimeUSec=/d; /^chronyc: /d' ;;
    cpu_flags_microcode) sed '/^\/proc\/cpuinfo: cpu MHz/d' ;;
    cpu_topology) sed '/^lscpu: CPU.*MHz/d' ;;
    # The total moves on a virtual machine that gets its memory bit by bit.
    mem_total_numa)
      grep -e Total -e distance -e online -e has_memory | sed 's/\(MemTotal:\).*/\1/'
      ;;
    net_links) sed '/\/statistics\//d; /\/carrier_changes: /d' ;;
    sysctl)
      sed -e '/^[^:]*\/proc\/sys\/kernel\/random\//d' \
        -e '/^\/proc\/sys\/fs\/[a-z]*-\(nr\|state\): /d' \
        -e '/^\/proc\/sys\/fs\/quota\//d' \
        -e '/^\/proc\/sys\/kernel\/\(ns_last_pid\|pty\/nr\): /d' \
        -e '/^\/proc\/sys\/net\/netfilter\/nf_conntrack_count: /d'
      ;;
    thp_hugepages) sed '/\(free\|resv\|surplus\)_hugepages: /d; /\/pages_collapsed: /d; /\/full_scans: /d' ;;
    *) cat ;;
  esac
}

# --- descriptions ------------------------------------------------------------

description_is_right() {
  file=$root/etc/providers/$1.xml
  [ -f "$file" ] || { echo "no description"; return 1; }
  grep -q "<provider name=\"$1\" version=\"1\">" "$file" || { echo "name or version"; return 1; }
  grep -q "<command>\"%PROVIDER_AUXILIARY_PATH%/$1.sh\"</command>" "$file" || { echo command; return 1; }
  grep -q "<auxiliary_path>$1</auxiliary_path>" "$file" || { echo auxiliary_path; return 1; }
  grep -q 'architecture="any"' "$file" || { echo architecture; return 1; }
  [ -x "$root/provider/share/$1/$1.sh" ] || { echo "script not executable"; return 1; }
}

# As the worker does it: the folder filled in, the time limit in front, /bin/sh.
command_runs() {
  written=$(sed -n 's,.*<command>\(.*\)</command>.*,\1,p' "$root/etc/providers/$1.xml")
  before=${written%%"%PROVIDER_AUXILIARY_PATH%"*}
  after=${written#*"%PROVIDER_AUXILIARY_PATH%"}
  /bin/sh -c "ZELK_TIMEOUT=60 $before$share/$1$after" >"$scratch/out" 2>"$scratch/err"
  status=$?
  is_well_formed
}

test_descriptions() {
  for name in $providers; do
    check "description: $name" description_is_right "$name"
    check "command: $name" command_runs "$name"
  done
  schema=$root/share/zelkara/description.xsd
  if ! have xmllint; then
    skip "descriptions are valid" "no xmllint"
  elif [ ! -f "$schema" ]; then
    skip "descriptions are valid" "no $schema"
  else
    for name in $providers; do
      check "description is valid: $name" \
        xmllint --nonet --noout --schema "$schema" "$root/etc/providers/$name.xml"
    done
  fi
  if have shellcheck; then
    check "scripts pass shellcheck" shellcheck -s sh "$root"/provider/share/*/*.sh "$here"/*.sh
  else
    skip "scripts pass shellcheck" "no shellcheck"
  fi
}

# --- this machine ------------------------------------------------------------

# Every line names its source; a status other than 0 has its reason on one line.
is_well_formed() {
  case $status in
    0 | 83) [ -s "$scratch/out" ] || { echo "status $status and no output"; return 1; } ;;
    80) ;;
    *) echo "status $status: $(cat "$scratch/err")"; return 1 ;;
  esac
  [ "$status" -eq 0 ] || [ "$(wc -l <"$scratch/err")" -eq 1 ] ||
    { echo "status $status with $(wc -l <"$scratch/err") lines of reasons"; return 1; }
  [ "$status" -ne 0 ] || [ ! -s "$scratch/err" ] ||
    { echo "status 0 with complaints: $(cat "$scratch/err")"; return 1; }
  strange=$(grep -c -v -E '^(/[^:]*|[a-z][a-z0-9_.]*): ' "$scratch/out")
  [ "$strange" -eq 0 ] || { echo "$strange lines name no source"; return 1; }
}

# Two runs: well-formed, equal but for volatile lines, and one under a second
# (the better one: the machine may be busy with other things).
runs_well_here() {
  run "$1"
  is_well_formed || return 1
  first_status=$status
  first_ticks=$ticks
  stable "$1" <"$scratch/out" >"$scratch/first"
  run "$1"
  [ "$status" -eq "$first_status" ] || { echo "status $first_status, then $status"; return 1; }
  stable "$1" <"$scratch/out" >"$scratch/second"
  diff "$scratch/first" "$scratch/second" || return 1
  [ "$first_ticks" -lt 100 ] || [ "$ticks" -lt 100 ] ||
    { echo "took $first_ticks and $ticks hundredths of a second"; return 1; }
}

# The same as the plain run, under another shell or other tools. busybox grep
# says nothing of a file that refuses to be read.
agrees_with() {
  runs_well_here "$1" || return 1
  grep -v '^unreadable: ' "$scratch/second" >"$scratch/other"
  grep -v '^unreadable: ' "$2/$1" | diff - "$scratch/other"
}

test_here() {
  mkdir -p "$scratch/plain"
  for name in $providers; do
    check "runs well here: $name" runs_well_here "$name"
    run "$name"
    stable "$name" <"$scratch/out" >"$scratch/plain/$name"
  done
  for shell in dash bash "busybox ash" ksh; do
    if ! have "${shell%% *}"; then skip "under $shell" "not installed"; continue; fi
    for name in $providers; do check "under $shell: $name" agrees_with "$name" "$scratch/plain"; done
  done
  shell=
}

# A folder of tools that stands first in PATH: one awk, or all of busybox.
test_other_tools() {
  for awk in mawk gawk original-awk busybox; do
    if ! have "$awk"; then skip "with $awk" "not installed"; continue; fi
    tools=$scratch/tools-$awk
    mkdir "$tools"
    for tool in awk grep xargs find sort tr id uname timeout; do
      case $awk:$tool in
        busybox:* | *:awk) ln -s "$(command -v "$awk")" "$tools/$tool" ;;
      esac
    done
    shell="env ZELK_PROVIDER_PATH=$tools:/usr/sbin:/usr/bin:/sbin:/bin"
    for name in $providers; do check "with $awk: $name" agrees_with "$name" "$scratch/plain"; done
  done
  shell=
}

as_nobody='setpriv --reuid=65534 --regid=65534 --clear-groups'
can_be_nobody() { [ "$(id -u)" -eq 0 ] && $as_nobody true 2>/dev/null; }

test_unprivileged() {
  if ! can_be_nobody; then skip "as nobody" "not root: the cases above ran unprivileged"; return; fi
  shell=$as_nobody
  for name in $providers; do check "as nobody: $name" runs_well_here "$name"; done
  shell=
}

# --- recorded trees ----------------------------------------------------------

# Blanks at line ends and tabs are made visible. What uname and id say is of
# the machine the test runs on.
tab=$(printf '\t')
as_expected() {
  sed -e '/^uname\./d' -e 's/^uid: .*/uid: N/' -e "s/$tab/\\\\t/g" -e 's/$/$/' "$1"
}

matches_expected() {
  run "$1"
  [ "$status" -eq 0 ] || { echo "status $status: $(cat "$scratch/err")"; return 1; }
  as_expected "$scratch/out" | diff "$here/expected/$tree/$1.txt" -
}

# gives STATUS PROVIDER [LINE]: the status, and a whole line of the output.
gives() {
  run "$2"
  [ "$status" -eq "$1" ] || { echo "status $status: $(cat "$scratch/err")"; return 1; }
  [ $# -lt 3 ] || grep -q -F -x -e "$3" "$scratch/out" || { echo "lacks '$3'"; return 1; }
}

gives_quickly() {
  gives "$@" || return 1
  [ "$ticks" -lt 100 ] || run "$2"
  [ "$ticks" -lt 100 ] || { echo "took $ticks hundredths of a second"; return 1; }
}

test_virtual_machine() {
  tree=vm
  for name in $providers; do check "virtual machine: $name" matches_expected "$name"; done
  check "no credential gets out" no_credential_gets_out
}

no_credential_gets_out() {
  for name in $providers; do
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

lacks() {
  run "$1"
  if grep -q -e "$2" "$scratch/out"; then echo "has $2"; return 1; fi
}

# --- the world around --------------------------------------------------------

test_tools_missing() {
  tree=
  mkdir "$scratch/no-tools"
  shell="env ZELK_PROVIDER_PATH=$scratch/no-tools"
  for name in $providers; do check "no tools at all: $name" gives 81 "$name"; done
  ln -s "$(command -v awk)" "$(command -v grep)" "$(command -v xargs)" "$scratch/no-tools"
  check "no optional tool: lscpu" gives 0 cpu_topology "missing: timeout"
  shell=
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

# What the user's environment points to may be dead, so nothing is looked for
# there. The first process is left out: its loader runs before the script does.
test_dead_mounts() {
  tree=
  if ! have strace; then
    skip "mounts touches no mount point" "no strace"
    skip "the environment is cut off" "no strace"
    return
  fi
  check "mounts touches no mount point" touches_only_system_paths mounts
  for name in $providers; do check "the environment is cut off: $name" environment_is_cut_off "$name"; done
}

# Every path of every call that takes one, except the script's own files. A
# shell looks at its working folder (".") before it reads the script; a C library
# may look at the memory map of its own process.
touches_only_system_paths() {
  (cd / && trace file "$1")
  grep -v -F "\"$share/" "$scratch/trace" | sed -n 's/^[^"]*"\([^"]*\)".*/\1/p' | sort -u |
    grep -v -E '^(|/|\.|/dev/null|/proc/self/maps|/proc/self/mounts|/etc/ld\.so\.[a-z]*)$' |
    grep -v -E '^(/usr)?/(lib|lib64|bin|sbin)/[^ ]*$' >"$scratch/foreign"
  [ -s "$scratch/trace" ] || { echo "nothing was traced"; return 1; }
  grep -q -F '"/proc/self/mounts"' "$scratch/trace" || { echo "the table was not read"; return 1; }
  if [ -s "$scratch/foreign" ]; then cat "$scratch/foreign"; return 1; fi
}

environment_is_cut_off() {
  dead=$scratch/dead
  mkdir -p "$dead"
  (
    cd "$dead" || exit
    LD_LIBRARY_PATH=$dead TMPDIR=$dead HOME=$dead CDPATH=$dead AWKPATH=$dead PATH=$dead:$PATH
    export LD_LIBRARY_PATH TMPDIR HOME CDPATH AWKPATH PATH
    trace file "$1"
  )
  first=$(sed -n '1s/ .*//p' "$scratch/trace")
  [ -n "$first" ] || { echo "nothing was traced"; return 1; }
  if grep -v "^$first " "$scratch/trace" | grep -F "$dead"; then return 1; fi
  grep -F "chdir(\"/\")" "$scratch/trace" >/dev/null || { echo "stays in the folder"; return 1; }
}

test_descriptions
test_here
test_other_tools
test_unprivileged
test_virtual_machine
test_big_machine
test_bare_machine
test_refusals
test_hostile
test_tools_missing
test_hung_tool
test_dead_mounts

echo "$passed passed, $failed failed, $skipped skipped"
[ "$failed" -eq 0 ]
