#!/bin/bash
# -h prints the usage text, byte for byte, and ends before anything else.
. "$(dirname "$0")/common.sh"

usage() {
  sed -e "s|@PROGRAM@|$1|" -e "s|@ROOT@|$2|" "$here/usage.txt"
}

config
provider memory.xml "touch $scratch/ran"
for options in "-h" "-A -f memory.xml -h" "-h -Z -n"; do
  # shellcheck disable=SC2086  # several words
  run $options
  expect_status 1
  expect_stdout "$(usage "$worker" "$root")"
  expect_stderr  # "-h -Z -n": nothing behind -h is read, nor complained about
done
expect "$(tail -c 2 stdout)" "."
[ ! -e "$root/etc/pidfile_$host" ] || fail "a pid file was written"
[ ! -e ran ] || fail "a provider ran"

# The program is named as it was called.
(cd "$tree/bin" && ./zelk_run_provider -h) >stdout || true
expect_stdout "$(usage ./zelk_run_provider "$root")"
