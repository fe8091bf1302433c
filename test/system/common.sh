# What every scenario starts with. ZELK_ROOT names the installed tree under test.
#
# Gives each its own install root (the installed schemas and scripts, but a
# configuration of its own), output directory and worker environment; all of it
# goes when the script ends. A scenario ends with 0, or 77 when it was skipped.
# shellcheck shell=bash disable=SC2034  # many names are for the scenarios
set -euo pipefail

tree=$(cd "${ZELK_ROOT:?the installed tree}" && pwd)
here=$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd) host=$(hostname)
worker=$tree/bin/zelk_run_provider
scratch=$(mktemp -d)
trap clean_up EXIT
root=$scratch/root out=$scratch/out pid=
mkdir -p "$root/etc/providers" "$out"
ln -s "$tree/share" "$tree/provider" "$root/"
export ZELK_TEST_INSTALL_ROOT=$root
unset ZELK_COLLECT_LINGER
cd "$scratch"

clean_up() {
  { tagged | tr -dc '0-9\n'; jobs -p; } | xargs -r kill -KILL 2>/dev/null || true
  rm -rf "$scratch"
}

fail() {
  printf 'FAILED at line %s: %s\n' "${BASH_LINENO[-2]}" "$*"
  tail -v -c 4000 "$scratch/stdout" "$scratch/stderr" || true
  exit 1
} >&2

skip() { echo "skipped: $*" && exit 77; }

# config [XML]: the configuration, with XML among the children of its root.
config() {
  echo "<zelk><output_directory>$out</output_directory>${1-}</zelk>" \
    >"$root/etc/zelk.xml"
}

# provider FILE COMMAND [XML]: a description, with XML beside its command.
provider() {
  echo "<provider><command><![CDATA[$2]]></command>${3-}</provider>" >"$1"
}

# run ARGUMENT...: the worker to its end; sets `status`, fills stdout and stderr.
run() {
  status=0
  "$worker" "$@" >"$scratch/stdout" 2>"$scratch/stderr" || status=$?
}

# start ARGUMENT...: the worker in the background, leading a process group of its
# own; sets `pid`. Whatever it starts can be found by the tag in its environment.
start() {
  : >"$scratch/stdout" 2>"$scratch/stderr"
  ZELK_TEST_TAG=$scratch setsid "$worker" "$@" >"$scratch/stdout" \
    2>"$scratch/stderr" & pid=$!
}

# finish [SIGNAL]: waits for the end of what was started; sets `status`.
finish() {
  [ $# -eq 0 ] || kill -s "$1" "$pid"
  status=0
  wait "$pid" || status=$?
}

tagged() { grep -slzFx "ZELK_TEST_TAG=$scratch" /proc/[0-9]*/environ || true; }

# listen COUNT [ENDPOINT]: a receiver of so many messages, which writes their
# frames to frames/N.frameK; sets `endpoint` and `receiver`.
listen() {
  /usr/bin/python3 "$here/receive_messages.py" "${2:-tcp://127.0.0.1:*}" "$1" \
    "$scratch/frames" >"$scratch/ready" &
  receiver=$!
  wait_for test -s "$scratch/ready"
  read -r _ endpoint <"$scratch/ready"
}

# wait_for COMMAND...: until it succeeds, 60 seconds at most.
wait_for() {
  for _ in {1..1200}; do
    if "$@"; then return; fi
    sleep 0.05
  done
  fail "waited in vain for: $*"
}

expect() { [ "$1" = "$2" ] || fail "'$1' is not '$2'"; }
expect_status() { expect "$status" "$1"; }
# expect_stdout / expect_stderr [LINE...]: all of that stream.
expect_stdout() { expect "$(cat "$scratch/stdout")" "$(printf '%s\n' "$@")"; }
expect_stderr() { expect "$(cat "$scratch/stderr")" "$(printf '%s\n' "$@")"; }
expect_line() { grep -qFx -- "$1" "$scratch/stderr" || fail "no line '$1'"; }

results() { find "$out" -name 'ZELK_*' | sort; }
expect_results() { expect "$(results | wc -l)" "$1"; }

# A text or number of a result file's header (FILE OFFSET SIZE), and the rest.
text_at() { head -c $(($2 + $3)) "$1" | tail -c "$3" | tr -d '\0'; }
number_at() { od -An -td"$3" -j"$2" -N"$3" "$1" | tr -d ' '; }
output_of() { tail -c +737 "$1"; }
