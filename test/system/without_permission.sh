#!/bin/bash
# What a user may not read or write is said, and ends only what must end.
. "$(dirname "$0")/common.sh"

[ "$(id -u)" -eq 0 ] || skip "only root can become a user without permissions"
as_nobody() { setpriv --reuid=65534 --regid=65534 --clear-groups "$@"; }
nobody() {
  status=0
  as_nobody "$worker" "$@" >"$scratch/stdout" 2>"$scratch/stderr" || status=$?
}
as_nobody test -r "$tree/share/zelkara/zelk.xsd" ||
  skip "the tree lies where other users may not look"
chmod 755 "$scratch"
chmod 1777 "$out"
config
provider open.xml 'echo out'
provider closed.xml 'echo out'
chmod 600 closed.xml
nobody -A -l debug -f open.xml -f closed.xml
expect_status 0
expect_line "Error opening pid file $root/etc/pidfile_$host."
expect_line "Could not open 'closed.xml'. Skipping..."
expect_results 1

chmod 755 "$out"
nobody -A -f open.xml
expect_status 1
grep -q "^Unable to access output directory $out. This" stderr || fail "unsaid"

chmod 600 "$root/etc/zelk.xml"
nobody -A -f open.xml
expect_status 1
expect_stderr "$root/etc/zelk.xml: cannot be read (13): Permission denied"
