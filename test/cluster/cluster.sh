#!/bin/bash
# A throw-away cluster on one machine, out of Linux namespaces: a head and N
# nodes, each with a network, processes, mounts, a host name, /tmp, /run, /etc
# and an sshd of its own, all plugged into one switch.
#
#   up N                    head and node01 ... nodeN; ends with 77 where this
#                           machine does not permit it
#   down                    everything goes
#   renew N                 down and up: what an interrupted test left goes first
#   run N COMMAND...        up, COMMAND on the head, down; the cluster goes with
#                           its caller, even with one that is killed
#   exec HOST COMMAND...    with its exit status; CLUSTER_USER=ada: not as root
#   hosts                   one line for each: name, address, up or down
#   slurm                   starts munge and Slurm on all hosts
#
#   start HOST...           boots hosts that are down
#   kill HOST...            power loss: no FIN and no RST reaches a peer
#   reboot [HOST...]        as new; all of them when none is named
#   pause HOST, resume HOST every process stops; the kernel still accepts
#   link HOST up|down       the cable
#   loss HOST PERCENT       of the packets, both ways; 0 ends it
#   drop HOST on|off        loss of all packets
#   fill HOST               leaves no room in /tmp and on the disk of /opt
#   rekey HOST              another host key
#
# On every host, root and the user ada log in by key without a question, what
# CLUSTER_ROOT names is installed under /opt/zelkara (a host's changes to it are
# its own), and /run/cluster/shared is one and the same directory.
#
#   CLUSTER_DIR        scratch directory, one cluster each    [/tmp/zelk-cluster]
#   CLUSTER_ROOT       an installed tree                              [ZELK_ROOT]
#   CLUSTER_LIFETIME   seconds after which it goes by itself               [3600]
#
# Outside nothing is to be seen of it but processes and files of CLUSTER_DIR.
set -euo pipefail
self=$(readlink -f "${BASH_SOURCE[0]}")
here=${self%/*}
dir=$(realpath -m "${CLUSTER_DIR:-/tmp/zelk-cluster}")
tree=${CLUSTER_ROOT:-${ZELK_ROOT:-}}
namespaces=(--net --mount --pid --uts --ipc)

die() {
  echo "cluster.sh: $*" >&2
  exit 2
}

. "$here/inside.bash"
. "$here/files.bash"
. "$here/faults.bash"
. "$here/slurm.bash"

# ---- Names, numbers and addresses: the head is 0

name_of() { if [ "$1" -eq 0 ]; then echo head; else printf 'node%02d\n' "$1"; fi; }
address_of() { echo "10.77.$(($1 / 250)).$(($1 % 250 + 1))"; }
# Fixed, so that no neighbour remembers another one after a reboot.
ethernet_of() { printf '02:77:00:00:%02x:%02x\n' $(($1 / 256)) $(($1 % 256)); }
last_number() { cat "$dir/size" 2>/dev/null || die "no cluster in $dir"; }
all_names() {
  local number last
  last=$(last_number)
  for ((number = 0; number <= last; number++)); do name_of "$number"; done
}

number_of() {
  local number=${1#node}
  [ "$1" != head ] || number=0
  if ! [[ $number =~ ^[0-9]{1,4}$ ]] || [ "$((10#$number))" -gt "$(last_number)" ] ||
    [ "$(name_of "$((10#$number))")" != "$1" ]; then
    die "no such host: $1"
  fi
  echo "$((10#$number))"
}

# ---- What may be asked of the cluster from outside

permitted() {
  [ "$(id -u)" -eq 0 ] || { echo "needs root"; return 1; }
  local program
  for program in ip unshare nsenter setpriv ssh-keygen /usr/sbin/sshd; do
    command -v "$program" >/dev/null || { echo "no $program"; return 1; }
  done
  setpriv --reuid 64999 --regid 64999 --clear-groups true 2>&1 || return 1
  unshare "${namespaces[@]}" --fork sh -c 'mount -t proc proc /proc &&
    mount -t tmpfs try /tmp && ip link add try0 type veth peer name try1 &&
    ip link add try2 type bridge' 2>&1 || return 1
}

# The pid of the switch, as seen here, if it is still ours: pids come again.
switch_pid() {
  local pid
  pid=$(cat "$dir/switch.pid" 2>/dev/null) &&
    grep -qszxF "CLUSTER_DIR=$dir" "/proc/$pid/environ" &&
    echo "$pid"
}
is_up() { switch_pid >/dev/null; }

up() {
  local reason
  [[ ${1:-} =~ ^[0-9]{1,3}$ ]] || die "up: how many nodes?"
  reason=$(permitted) || { echo "skipped: $reason"; exit 77; }
  is_up && die "a cluster is up in $dir already"
  make_room
  write_files "$1"
  CLUSTER_DIR=$dir CLUSTER_ROOT=$tree \
    ${goes_with_us:+setpriv --pdeathsig KILL} setsid \
    unshare "${namespaces[@]}" --fork --kill-child \
    bash "$self" --switch </dev/null >"$dir/log/switch" 2>&1 &
  echo $! >"$dir/unshare.pid"
  disown
  wait_until test -e "$dir/ready" || { cat "$dir"/log/*; down; die "not up"; } >&2
}

# One signal is enough: the switch is pid 1 of a namespace that holds them all.
down() {
  local parent child
  parent=$(cat "$dir/unshare.pid" 2>/dev/null) || return 0
  child=$(switch_pid) && kill -KILL "$child"
  if wait_until gone "$parent" "${child:-$parent}"; then
    rm -rf "$dir/hosts" "$dir/ready" "$dir"/*.pid "$dir/size"
  else
    die "something of it does not die"
  fi
}
# The second is gone, and the first is no longer what it was: our unshare. (What
# is dead and not yet reaped has no command line.)
gone() {
  [ ! -e "/proc/$2" ] && ! grep -qsF unshare "/proc/$1/cmdline"
}

# What lies in the directory goes, if it is an earlier cluster's.
make_room() {
  if [ -e "$dir/.cluster" ]; then rm -rf "${dir:?}"; fi
  mkdir -p "$dir"
  [ -z "$(ls -A "$dir")" ] || die "$dir holds other things than a cluster's"
  : >"$dir/.cluster"
}

renew() {
  down
  up "$@"
}

run() {
  goes_with_us=yes
  trap down EXIT
  trap 'exit 143' TERM
  trap 'exit 130' INT
  up "$1"
  shift
  on_host head "$@" &
  wait $!
}

# --wdns and not --wd, which leaves the working directory out here.
in_switch() {
  local pid
  pid=$(switch_pid) || die "no cluster in $dir"
  nsenter --target "$pid" "${namespaces[@]}" --wdns=/ -- \
    setpriv --pdeathsig KILL "$@"
}

# With an environment of the host's own: what this machine's user has set up
# for himself is not part of a test.
on_host() {
  local pid home=root identity=() environment
  [ -z "${CLUSTER_USER:-}" ] || {
    home=$CLUSTER_USER
    identity=(--reuid 64999 --regid 64999 --clear-groups)
  }
  environment=(HOME="/run/cluster/home/$home" USER="$home" LOGNAME="$home"
    PATH=/opt/zelkara/bin:/usr/local/sbin:/usr/local/bin:/usr/sbin:/usr/bin:/sbin:/bin
    LC_ALL=C.UTF-8 OMPI_ALLOW_RUN_AS_ROOT=1 OMPI_ALLOW_RUN_AS_ROOT_CONFIRM=1)
  number_of "$1" >/dev/null
  pid=$(cat "$dir/hosts/$1/pid" 2>/dev/null) || die "$1 is down"
  shift
  in_switch nsenter --target "$pid" "${namespaces[@]}" --wdns=/ -- \
    setpriv "${identity[@]}" --pdeathsig KILL env -i "${environment[@]}" "$@"
}

hosts() {
  local name state
  is_up || die "no cluster in $dir"
  for name in $(all_names); do
    state=down
    [ ! -e "$dir/hosts/$name/ready" ] || state=up
    echo "$name $(address_of "$(number_of "$name")") $state"
  done
}

# Sourced by tests of the parts; a program otherwise.
case ${1:-} in
  up | down | renew | run | hosts | slurm | start | kill | reboot | pause | resume | \
    link | loss | drop | fill | rekey)
    action=${1/#kill/power_off}
    "${action/#link/cable}" "${@:2}"
    ;;
  exec) on_host "${@:2}" ;;
  --switch) be_switch ;;
  --boot) boot "${@:2}" ;;
  --host) be_host "$2" ;;
  *)
    sed -n '2,/^set /s/^# \{0,1\}//p' "$self" >&2
    exit 2
    ;;
esac
