#!/bin/sh
# Tests of the shipped data providers.
#
#   run.sh [ROOT [NAME...|PART/PARTS]]
#
# ROOT holds etc/providers and provider/share; default: this source tree. With
# names of providers only these are judged, with 2/4 every fourth from the second
# on.
#
# One line a case: "ok", "not ok" or "skip" (with the reason), and a summary.
# Exit status 1 when a case failed. Needs no privileges; as root it also runs
# everything as nobody.
#
# A provider is judged on this machine under every shell and every awk that is
# here, and on recorded trees where the answer is known. The first twelve share
# the trees of make_trees.sh; any other has a file cases/NAME.sh, which may define
#
#   tree_NAME DIRECTORY  builds the recorded tree that `tree=NAME` stands for
#   test_NAME            its own cases
#   stable_NAME          a filter that removes the volatile lines
#   statuses_NAME=       exit statuses that are right on this machine and without
#                        privileges, if others than "0 80 82 83"
#   tools_NAME=none      it starts no program of the system's
#   seconds_NAME=        what a run on this machine may take, if more than 1
set -u
here=$(cd "$(dirname "$0")" && pwd)
root=${1:-$here/../..}
root=$(cd "$root" && pwd)
[ $# -eq 0 ] || shift
LC_ALL=C
export LC_ALL
unset ZELK_PROVIDER_ROOT ZELK_PROVIDER_PATH

first_twelve='boot_uptime clocksource_time cpu_flags_microcode cpu_mitigations
  cpu_topology kernel_cmdline mem_total_numa mounts net_links sysctl
  thp_hugepages uname_os'
# shellcheck source=/dev/null
. "$here/put.sh"
# shellcheck source=/dev/null
. "$here/first_twelve.sh"
with_cases=
for case_file in "$here"/cases/*.sh; do
  [ -f "$case_file" ] || continue
  case_name=${case_file##*/}
  with_cases="$with_cases ${case_name%.sh}"
done
all_providers="$first_twelve $with_cases"
every_nth() { # PART/PARTS
  for name in $all_providers; do echo "$name"; done |
    awk -v part="${1%/*}" -v parts="${1#*/}" 'NR % parts == part % parts'
}
case ${1-} in
  */*) providers=$(every_nth "$1") ;;
  *) providers=${*:-$all_providers} ;;
esac
is_judged() { case " $providers " in *[[:space:]]"$1"[[:space:]]*) ;; *) return 1 ;; esac; }

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
for name in $with_cases; do
  is_judged "$name" || continue
  # shellcheck source=/dev/null
  . "$here/cases/$name.sh"
  ! command -v "tree_$name" >/dev/null || "tree_$name" "$trees/$name" || exit 2
done
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

# setting NAME PROVIDER DEFAULT: the variable NAME_PROVIDER of a case file.
setting() { eval "printf '%s\n' \"\${$1_$2:-$3}\""; }

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
    sysctl) sed '/^volatile: /d' ;;
    thp_hugepages) sed '/\(free\|resv\|surplus\)_hugepages: /d; /\/pages_collapsed: /d; /\/full_scans: /d' ;;
    *) if command -v "stable_$1" >/dev/null; then "stable_$1"; else cat; fi ;;
  esac
}

# --- descriptions ------------------------------------------------------------

description_is_right() {
  file=$root/etc/providers/$1.xml
  [ -f "$file" ] || { echo "no description"; return 1; }
  grep -q "<provider name=\"$1\" version=\"[0-9]*\">" "$file" || { echo "name or version"; return 1; }
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
  is_well_formed "$1"
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
    check "shared scripts pass shellcheck" shellcheck -s sh \
      "$root"/provider/share/common/*.sh "$here"/*.sh
    for name in $providers; do
      check "script passes shellcheck: $name" shellcheck -s sh "$root/provider/share/$name"/*.sh
    done
    # SC2034, SC2154: variables that the sourcing script reads and sets.
    for name in $with_cases; do
      ! is_judged "$name" || check "cases pass shellcheck: $name" \
        shellcheck -s sh -e SC2034,SC2154 "$here/cases/$name.sh"
    done
  else
    skip "scripts pass shellcheck" "no shellcheck"
  fi
}

# --- this machine ------------------------------------------------------------

# Every line names its source; a status other than 0 has its reason on one line.
is_well_formed() {
  case " $(setting statuses "$1" "0 80 82 83") " in
    *" $status "*) ;;
    *) echo "status $status: $(cat "$scratch/err")"; return 1 ;;
  esac
  case $status in
    0 | 83) [ -s "$scratch/out" ] || { echo "status $status and no output"; return 1; } ;;
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
  is_well_formed "$1" || return 1
  first_status=$status
  first_ticks=$ticks
  stable "$1" <"$scratch/out" >"$scratch/first"
  run "$1"
  [ "$status" -eq "$first_status" ] || { echo "status $first_status, then $status"; return 1; }
  stable "$1" <"$scratch/out" >"$scratch/second"
  diff "$scratch/first" "$scratch/second" || return 1
  most_ticks=$(($(setting seconds "$1" 1) * 100))
  [ "$first_ticks" -lt "$most_ticks" ] || [ "$ticks" -lt "$most_ticks" ] ||
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

# bash takes functions and options from its environment. Where it is /bin/sh, as
# on many systems, none of them may reach a script.
test_hostile_bash() {
  if ! have bash; then skip "under bash with a hostile environment" "not installed"; return; fi
  mkdir "$scratch/hostile"
  ln -s "$(command -v bash)" "$scratch/hostile/sh"
  put_tool "$scratch/hostile/start" "exec env \\
  'BASH_FUNC_grep%%=() { echo EVIL; }' 'BASH_FUNC_awk%%=() { echo EVIL; }' \\
  'BASH_FUNC_printf%%=() { echo EVIL; }' 'BASH_FUNC_true%%=() { echo EVIL; }' \\
  'BASH_FUNC_declare%%=() { echo EVIL; }' 'BASH_FUNC_unset%%=() { echo EVIL; }' \\
  'BASH_FUNC_builtin%%=() { echo EVIL; }' 'BASH_FUNC_command%%=() { echo EVIL; }' \\
  'BASH_FUNC_cd%%=() { echo EVIL; }' 'BASH_FUNC_read%%=() { echo EVIL; }' \\
  'BASH_FUNC_missing%%=() { echo EVIL; }' 'BASH_FUNC_a-*%%=() { echo EVIL; }' \\
  SHELLOPTS=noglob:noclobber:pipefail BASHOPTS=nullglob:failglob:nocasematch \\
  '$scratch/hostile/sh' \"\$@\""
  shell=$scratch/hostile/start
  for name in $providers; do
    # It tells what it was started with.
    [ "$name" != env_profile ] || continue
    check "under bash with a hostile environment: $name" agrees_with "$name" "$scratch/plain"
  done
  shell=
}

# A script that looks for its program has left the working folder by then.
by_a_relative_path() {
  run "$1"
  sed -n 's/^[^:]*: //p' "$scratch/err" >"$scratch/absolute"
  (cd "$share/$1" && sh "./$1.sh") >"$scratch/out" 2>"$scratch/err"
  relative=$?
  [ "$relative" -eq "$status" ] || { echo "$relative, not $status: $(cat "$scratch/err")"; return 1; }
  sed -n 's/^[^:]*: //p' "$scratch/err" | sed 's,/\./,/,' | diff "$scratch/absolute" -
}

test_relative_path() {
  for name in $providers; do
    [ "$(setting tools "$name" some)" != none ] ||
      check "by a relative path: $name" by_a_relative_path "$name"
  done
}

# Links of /etc may lead into a shared file system that is dead: the rest of what
# a provider reads is there all the same.
test_dead_links() {
  mkdir -p "$scratch/stuck" "$scratch/dead links/etc"
  for link in os-release passwd hosts resolv.conf ssh; do
    ln -s "$scratch/stuck/x" "$scratch/dead links/etc/$link"
  done
  put "$scratch/dead links/etc/group" 'root:x:0:\n'
  put "$scratch/dead links/etc/nsswitch.conf" 'hosts: files\n'
  put "$scratch/dead links/proc/self/limits" 'Limit\n'
  for case in "uname_os /etc/os-release: no answer in 5 s" \
    "users_limits users.count: /etc/passwd: no answer in 5 s" \
    "net_routes_dns /etc/hosts: no answer in 5 s" \
    "net_routes_dns resolv_conf: no answer in 5 s" \
    "ssh_hostkeys hostkey: /etc/ssh/ssh_host_*_key.pub: no answer in 5 s"; do
    ! is_judged "${case%% *}" ||
      check "a link to a mount that never answers: ${case%%: *}" tells_stuck_link "${case%% *}" "${case#* }"
  done
}

# tells_stuck_link PROVIDER TEXT: what was not read, and what lies beside it.
tells_stuck_link() {
  timeout 60 "$here/stuck_mount.py" "$scratch/stuck" env "ZELK_PROVIDER_ROOT=$scratch/dead links" \
    "$share/$1/$1.sh" >"$scratch/out" 2>"$scratch/err"
  status=$?
  if [ "$status" -eq 77 ]; then echo "skipped: no root or no FUSE"; return 0; fi
  [ "$status" -eq 83 ] || { echo "status $status"; cat "$scratch/out" "$scratch/err"; return 1; }
  case $1 in
    uname_os) beside='uname.sysname: Linux' ;;
    users_limits) beside='group: root 0' ;;
    net_routes_dns) beside='/etc/nsswitch.conf: hosts: files' ;;
    *) beside="unreadable: $2" ;;
  esac
  for line in "unreadable: $2" "$beside"; do
    grep -q -F -x "$line" "$scratch/out" || { echo "no '$line'"; cat "$scratch/out"; return 1; }
  done
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

lacks() {
  run "$1"
  if grep -q -e "$2" "$scratch/out"; then echo "has $2"; return 1; fi
}

# --- the world around --------------------------------------------------------

test_tools_missing() {
  tree=
  mkdir "$scratch/no-tools"
  shell="env ZELK_PROVIDER_PATH=$scratch/no-tools"
  for name in $providers; do
    [ "$(setting tools "$name" some)" = none ] || check "no tools at all: $name" gives 81 "$name"
  done
  shell=
  is_judged cpu_topology || return
  shell="env ZELK_PROVIDER_PATH=$scratch/no-tools"
  ln -s "$(command -v awk)" "$(command -v grep)" "$(command -v xargs)" "$scratch/no-tools"
  check "no optional tool: lscpu" gives 0 cpu_topology "missing: timeout"
  shell=
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
  ! is_judged mounts || check "mounts touches no mount point" touches_only_system_paths mounts
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

test_cases() {
  for name in $with_cases; do
    is_judged "$name" || continue
    tree=$name
    shell=
    ! command -v "test_$name" >/dev/null || "test_$name"
  done
  tree=
  shell=
}

test_descriptions
test_here
test_other_tools
test_hostile_bash
test_relative_path
test_dead_links
test_unprivileged
case ${1-} in
  "" | 1/*) test_first_twelve ;;
esac
test_cases
test_tools_missing
test_dead_mounts

echo "$passed passed, $failed failed, $skipped skipped"
[ "$failed" -eq 0 ]
