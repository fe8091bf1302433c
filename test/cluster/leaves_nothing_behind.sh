#!/bin/bash
# The cluster of the tests itself: it works, and however it ends, nothing of it
# stays on this machine.
#
#   CLUSTER_DIR   where it may have a cluster of its own: CLUSTER_DIR-alone
set -euo pipefail
here=$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd)
own=${CLUSTER_DIR:-/tmp/zelk-cluster}-alone
unset CLUSTER_DIR # only processes of the cluster are to have it, see below
cluster() { CLUSTER_DIR=$own "$here/cluster.sh" "$@"; }
fail() { echo "FAILED: $*" >&2; exit 1; }
trap 'cluster down; rm -rf "$own"' EXIT

# What others do on this machine meanwhile is not looked at: of processes and
# namespaces only the cluster's own, and of the rest what it might change.
own_processes() { grep -slzxF "CLUSTER_DIR=$own" /proc/[0-9]*/environ || true; }
world() {
  md5sum /etc/{hosts,passwd,shadow,group,hostname,nsswitch.conf,ssh/ssh_config}
  grep -cE "$own|zelkara" /proc/self/mountinfo || true
  ip -o link show | grep -cE 'port[0-9]|bridge|switch' || true
  ls /run/netns /etc/netns 2>&1 || true
  uname -n
}
# The namespaces of everything below the pids, and who is in them.
namespaces_of() {
  { readlink "${@/%//ns/net}" "${@/%//ns/pid}" 2>/dev/null || true; } | sort -u
}
inhabitants() { namespaces_of /proc/[0-9]*; }

expect_gone() {
  local turn
  for ((turn = 0; turn < 300; turn++)); do
    if [ -z "$(comm -12 <(echo "$spaces") <(inhabitants))" ] && [ -z "$(own_processes)" ]; then break; fi
    sleep 0.1
  done
  [ $turn -lt 300 ] || fail "$1: processes are left: $(own_processes)"
  [ "$(world)" = "$before" ] || { diff <(echo "$before") <(world); fail "$1"; }
}

# Sets `spaces`, after every host got processes that want to stay.
settle() {
  local name
  for name in head node01 node02 node03; do
    cluster exec "$name" bash -c 'trap "" TERM HUP
      for i in 1 2 3; do setsid sleep 100000 & done'
  done
  mapfile -t pids < <(own_processes | sed 's|/environ$||')
  spaces=$(namespaces_of "${pids[@]}" | grep -vxFf <(readlink /proc/self/ns/{net,pid}))
  [ "$(wc -l <<<"$spaces")" -eq 10 ] || fail "not ten namespaces of five: $spaces"
}

before=$(world)
cluster up 3 || exit $?
settle
[ "$(cluster exec head ssh node02 hostname)" = node02 ] || fail "ssh"
cluster kill node02
cluster start node02
[ "$(cluster exec head ssh node02 hostname)" = node02 ] || fail "ssh after a reboot"
! cluster exec node02 pgrep sleep -x -a | grep 100000 || fail "survived a reboot"
cluster down
expect_gone "after down"

cluster up 3
settle
kill -KILL "$(cat "$own/switch.pid")"
expect_gone "after the death of the switch"
cluster up 3
settle
kill -KILL "$(cat "$own/unshare.pid")"
expect_gone "after the death of its parent"

# `run` takes the cluster with it, whichever signal ends it.
for signal in TERM KILL; do
  rm -f "$own/ready"
  CLUSTER_DIR=$own "$here/cluster.sh" run 3 sleep 100000 &
  runner=$!
  until [ -e "$own/ready" ] && cluster exec node03 true 2>/dev/null; do sleep 0.1; done
  settle
  kill -s $signal $runner
  wait $runner || true
  expect_gone "after run was ended by $signal"
done
export CLUSTER_LIFETIME=2
cluster up 3
settle
expect_gone "after its lifetime"
unset CLUSTER_LIFETIME
[ "$(cluster run 1 hostname)" = head ] || fail "run"
