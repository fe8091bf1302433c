# What can happen to a host. Sourced by cluster.sh.
# shellcheck shell=bash disable=SC2154,SC2016  # cluster.sh has the variables; what is
# quoted is for the shells of hosts

start() {
  local name
  for name in "$@"; do
    number_of "$name" >/dev/null
    [ ! -e "$dir/hosts/$name/pid" ] || die "$name is up"
  done
  CLUSTER_DIR=$dir CLUSTER_ROOT=$tree in_switch bash "$self" --boot "$@"
}

# The cable goes first: nothing that dies may say good-bye.
power_off() {
  local name pid
  for name in "$@"; do
    number_of "$name" >/dev/null
    pid=$(cat "$dir/hosts/$name/pid" 2>/dev/null) || die "$name is down"
    in_switch sh -c 'ip link delete "port$1"; kill -KILL "$2"' sh \
      "$(number_of "$name")" "$pid"
    rm -f "$dir/hosts/$name"/{pid,ready}
  done
}

reboot() {
  local name names=("$@")
  [ $# -gt 0 ] || mapfile -t names < <(all_names)
  for name in "${names[@]}"; do
    [ ! -e "$dir/hosts/$name/pid" ] || power_off "$name"
  done
  start "${names[@]}"
}

# Not to pid 1, which the kernel spares, nor to the shell that does it.
pause() { on_host "$1" bash -c 'kill -STOP -1'; }
resume() { on_host "$1" bash -c 'kill -CONT -1'; }

cable() {
  local number
  number=$(number_of "$1")
  in_switch ip link set "port$number" "$2"
}

loss() {
  local some="numgen random mod 100 < $2"
  [ "$2" != 100 ] || some=
  on_host "$1" nft -f - <<<"table inet cluster
delete table inet cluster"
  [ "$2" != 0 ] || return 0
  on_host "$1" nft -f - <<<"table inet cluster {
  chain in {
    type filter hook input priority 0;
    iifname eth0 $some drop
  }
  chain out {
    type filter hook output priority 0;
    oifname eth0 $some drop
  }
}"
}

drop() { loss "$1" "$([ "$2" = on ] && echo 100 || echo 0)"; }

fill() {
  on_host "$1" bash -c 'for place in /tmp /run/disk; do
    head -c 1G /dev/zero 2>/dev/null >$place/filler || true
  done'
}

rekey() {
  on_host "$1" bash -c 'kill "$(cat /run/sshd.pid)"; rm -f /run/sshd.pid
    /usr/sbin/sshd -f /etc/ssh/cluster_sshd_config -h /etc/ssh/keys/other_host \
      -o HostKey=/etc/ssh/keys/other_host -E /run/cluster/log/sshd.rekeyed
    until [ -s /run/sshd.pid ]; do sleep 0.01; done'
}
