# What every scenario of the cluster starts with: 16 hosts as new, providers that
# all of them can see, and words for what is to be shown.
#
#   ZELK_ROOT     the installed tree under test
#   CLUSTER_DIR   of a cluster that is up; without one the scenario is skipped
#
# A scenario ends with 0, or with 77 when it was skipped.
# shellcheck shell=bash disable=SC2034,SC2154  # names are for the scenarios
set -euo pipefail
here=$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd)
: "${ZELK_ROOT:?the installed tree}" "${CLUSTER_DIR:?of a cluster that is up}"
shared=/run/cluster/shared seen=/run/cluster/shared/providers
all_nodes='node[01-16]'

cluster() { "$here/cluster.sh" "$@"; }
on() { cluster exec "$@"; }

cluster hosts >/dev/null 2>&1 || { echo "skipped: no cluster is up"; exit 77; }
scratch=$(mktemp -d)
trap 'rm -rf "$scratch"' EXIT
cluster reboot
rm -rf "${CLUSTER_DIR:?}"/shared/*
mkdir "$CLUSTER_DIR/shared/providers"

fail() {
  printf 'FAILED at line %s: %s\n' "${BASH_LINENO[-2]}" "$*"
  tail -v -c 4000 "$scratch"/std* || true
  query 'SELECT * FROM v_run' || true
  query 'SELECT * FROM v_missing LIMIT 40' || true
  exit 1
} >&2

# provider NAME COMMAND [XML]: a description that every host can see.
provider() {
  echo "<provider><command><![CDATA[$2]]></command>${3-}</provider>" \
    >"$CLUSTER_DIR/shared/providers/$1.xml"
}
# shellcheck disable=SC2016 # for the shells of the nodes
provider hello 'echo "hello from $(hostname)"'

# collect ARGUMENT...: on the head, to its end; sets `status`, fills stdout and
# stderr. The time-outs are short ones: what takes a minute here is lost.
collect() {
  status=0
  timeout 120 "$here/cluster.sh" exec head env ZELK_DB=/tmp/zelk.db "${variables[@]}" \
    zelk-collect --connect-timeout 2 --progress lines "$@" \
    >"$scratch/stdout" 2>"$scratch/stderr" </dev/null || status=$?
}
variables=(TZ=UTC)

# start_collect NAME ARGUMENT...: the same in the background; /tmp/NAME.pid on
# the head has its pid.
start_collect() {
  local name=$1
  shift
  # shellcheck disable=SC2016
  timeout 120 "$here/cluster.sh" exec head env ZELK_DB=/tmp/zelk.db "${variables[@]}" \
    sh -c 'echo $$ >"/tmp/$0.pid"; exec zelk-collect --connect-timeout 2 "$@"' "$name" "$@" \
    >"$scratch/stdout.$name" 2>"$scratch/stderr.$name" </dev/null &
  started=$!
}
finish_collect() {
  status=0
  wait "$1" || status=$?
}
signal_collect() { on head sh -c "kill -s $2 \$(cat /tmp/$1.pid)"; }

# query SQL: of the datastore, a line a row, columns parted by commas.
query() {
  on head zelk-db --db /tmp/zelk.db query --format csv "$1" | sed 1d | tr -d '\r"'
}

expect() { [ "$1" = "$2" ] || fail "'$1' is not '$2'"; }
expect_status() { [ "$status" = "$1" ] || fail "exit status $status, not $1"; }
# expect_run STATE NODES/EXPECTED RESULTS/EXPECTED: of the run that is the latest.
expect_run() {
  expect "$(query "SELECT state, nodes || '/' || nodes_expected,
    results || '/' || results_expected FROM v_run ORDER BY run DESC LIMIT 1")" \
    "$1,$2,$3"
}
# expect_missing NODE PATTERN: it is missing from the latest run, for a reason
# that says so.
expect_missing() {
  local reason
  reason=$(query "SELECT DISTINCT reason FROM v_missing WHERE node = '$1'
    AND run = (SELECT max(run) FROM v_run)")
  grep -qiE -- "$2" <<<"$reason" || fail "$1 is missing for '$reason', not '$2'"
}
expect_output() { grep -qE -- "$1" "$scratch/stdout" || fail "no '$1' on stdout"; }
expect_said() { grep -qE -- "$1" "$scratch/stderr" || fail "no '$1' on stderr"; }

# wait_for COMMAND...: until it succeeds, 60 seconds at most.
wait_for() {
  local turn
  for ((turn = 0; turn < 600; turn++)); do
    if "$@"; then return 0; fi
    sleep 0.1
  done
  fail "waited in vain for: $*"
}

# Nothing of a collection runs on HOST... or lies in their /tmp.
idle() {
  local host
  for host in "$@"; do
    ! on "$host" ps -e -o args= |
      grep -vxE 'sleep infinity|ps -e.*|(sshd|/usr/sbin/sshd|slurmd|slurmctld|munged)\b.*' |
      grep -q . || return 1
    [ -z "$(on "$host" find /tmp -maxdepth 1 -name 'zelk-[^.]*' ! -name '*.db*')" ] || return 1
  done
}
expect_idle() { wait_for idle "$@"; }
