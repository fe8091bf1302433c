#!/bin/bash
# Judging writes nothing: a datastore that nobody may write to will do.
. "$(dirname "$0")/check_common.bash"

describe_facts box "<fact name='box.colour' from='colour'/>"
for node in n{1..5}; do answer "$node" box 'colour: red'; done
take_in --expect 'n[1-5]'
mkdir kept
mv "$ZELK_DB" kept/
rm -f "$ZELK_DB"*
export ZELK_DB=$scratch/kept/zelk.db
before=$(sha256sum "$ZELK_DB")
chmod 0444 "$ZELK_DB"
chmod 0555 kept
chmod 0755 "$scratch"
as_nobody=()
[ "$(id -u)" -ne 0 ] || as_nobody=(setpriv --reuid 65534 --regid 65534 --clear-groups)
status=0
"${as_nobody[@]}" "$checker" >"$scratch/stdout" 2>"$scratch/stderr" </dev/null || status=$?
expect_status 0
said 'HEALTHY   5 healthy'
expect "$(sha256sum "$ZELK_DB")" "$before"
expect "$(ls -A kept)" zelk.db
chmod 0755 kept
