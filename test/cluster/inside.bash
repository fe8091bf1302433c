# The inside of the cluster: pid 1 of the switch and pid 1 of each host.
# Sourced by cluster.sh.
#
# A pid 1 has to be found, and has to bury the orphans of its namespace. Found:
# the first thing it does is to read its pid from the /proc of the namespace
# above, which is still mounted then, and to write it down; so nobody has to look
# for children. Buried: it ends as a `sleep` that ignores SIGCHLD, for which the
# kernel does it. A shell that waits in `read` would leave zombies.
# shellcheck shell=bash disable=SC2154  # cluster.sh has the variables

exec {never}<> <(:)
snooze() { read -r -t "$1" -u "$never" || true; }

# wait_until COMMAND...: 60 seconds at most; a busy machine needs a few.
wait_until() {
  local turn
  for ((turn = 0; turn < 3000; turn++)); do
    if "$@"; then return 0; fi
    snooze 0.02
  done
  return 1
}

linger() { exec env --ignore-signal=CHLD sleep "$1"; }

write_own_pid() {
  local pid
  read -r pid _ </proc/self/stat
  echo "$pid" >"$1.new"
  mv "$1.new" "$1"
}

be_switch() {
  write_own_pid "$dir/switch.pid"
  mount -t proc proc /proc
  hostname switch
  ip -batch - <<<"link set lo up
    link add bridge type bridge forward_delay 0
    link set bridge up"
  mapfile -t names < <(all_names)
  boot "${names[@]}"
  : >"$dir/ready"
  linger "${CLUSTER_LIFETIME:-3600}"
}

# boot HOST...: at the same time. Runs in the switch's namespaces.
boot() {
  local name
  for name in "$@"; do power_on "$name"; done
  for name in "$@"; do wait_until test -s "$dir/hosts/$name/pid" || log_and_die "$name"; done
  plug_in "$@"
  for name in "$@"; do wait_until test -e "$dir/hosts/$name/ready" || log_and_die "$name"; done
}

log_and_die() {
  cat "$dir/log/$1" >&2
  die "$1 did not start"
}

power_on() {
  rm -rf "$dir/hosts/$1"
  mkdir -p "$dir/hosts/$1"
  CLUSTER_DIR=$dir CLUSTER_ROOT=$tree setsid \
    unshare "${namespaces[@]}" --fork --kill-child bash "$self" --host "$1" \
    </dev/null >"$dir/log/$1" 2>&1 {never}>&- &
}

plug_in() {
  local name number
  for name in "$@"; do
    number=$(number_of "$name")
    # The network of a host that died may outlive it, with sockets that close.
    ip link delete "port$number" 2>/dev/null || true
    echo "link add port$number type veth peer name eth0" \
      "address $(ethernet_of "$number") netns $(cat "$dir/hosts/$name/pid")"
    echo "link set port$number master bridge up"
  done | ip -batch -
  for name in "$@"; do : >"$dir/hosts/$name/plugged"; done
}

be_host() {
  local name=$1 state=$dir/hosts/$1
  write_own_pid "$state/pid"
  mount -t proc proc /proc
  mount -t sysfs sysfs /sys || true # shows the interfaces of this host
  hostname "$name"
  own_directories
  dir=/run/cluster state=$dir/hosts/$name
  own_etc "$name"
  wait_until test -e "$state/plugged"
  ip -batch - <<<"link set lo up
    addr add $(address_of "$(number_of "$name")")/16 dev eth0
    link set eth0 up"
  start_sshd
  : >"$state/ready"
  linger infinity
}

# The scratch directory appears as /run/cluster: where it really lies may be
# below the machine's /tmp, which is covered.
own_directories() {
  mount -t tmpfs -o mode=755,size=64m run /run
  mkdir /run/sshd /run/cluster /run/disk
  mount --bind "$dir" /run/cluster
  mount -t tmpfs -o mode=755,size=32m disk /run/disk
  if [ -n "$tree" ]; then
    mkdir -p /run/tree
    mount --bind "$tree" /run/tree
    mount -t tmpfs -o mode=755 opt /opt
    mkdir /opt/zelkara
    own_copy /run/tree /opt/zelkara
  fi
  mount -t tmpfs -o mode=1777,size=32m tmp /tmp
  mount --bind /tmp /var/tmp
  mount -t tmpfs -o mode=1777,size=64m shm /dev/shm
}

# own_copy SOURCE TARGET: what a host changes there stays its own.
own_copy() {
  local disk=/run/disk$2
  mkdir -p "$disk/upper" "$disk/work"
  chmod --reference="$1" "$disk/upper"
  mount -t overlay -o "lowerdir=$1,upperdir=$disk/upper,workdir=$disk/work" \
    overlay "$2" 2>/dev/null && return 0
  cp -a "$1/." "$disk/upper"
  mount --bind "$disk/upper" "$2"
}

own_etc() {
  own_copy /etc /etc
  cp -r /run/cluster/etc/. /etc
  echo "$1" >/etc/hostname
}

start_sshd() {
  /usr/sbin/sshd -f /etc/ssh/cluster_sshd_config -E "/run/cluster/log/sshd.$(hostname)" "$@" {never}>&-
  wait_until test -s /run/sshd.pid
}
