#!/bin/bash
# All programs find the datastore that the configuration names, unless the
# command line or the environment names another one.
. "$(dirname "$0")/db_common.bash"

unset ZELK_DB ZELK_CONFIG
export XDG_CONFIG_HOME=$scratch/config XDG_STATE_HOME=$scratch/state
config "<datastore><path>$scratch/site/zelk.db</path></datastore>"
fill 2
where() { db info "$@" && sed -n 's/^location *//p' stdout; }
expect "$(where)" "$scratch/site/zelk.db"
"$tree/bin/zelk-collect" -q -L >/dev/null
expect "$("$tree/bin/zelk-collect" --show-config | grep -o "$scratch/site/zelk.db")" \
  "$scratch/site/zelk.db"
db init --db other.db
expect "$(ZELK_DB=other.db where)" "$scratch/other.db"
expect "$(where --db other.db)" "$scratch/other.db"
sed "s|site/zelk|other|" "$root/etc/zelk.xml" >other.xml
expect "$(where -c other.xml)" "$scratch/other.db"
expect "$(ZELK_CONFIG=other.xml where)" "$scratch/other.db"
# A user's own file wins.
mkdir -p config/zelkara
echo "<zelk><datastore><path>$scratch/other.db</path></datastore></zelk>" \
  >config/zelkara/zelk.xml
expect "$(where)" "$scratch/other.db"
rm -r config
# One that is at fault is told, and no other datastore is used instead.
config "<datastore><path>zelk.db</path></datastore>"
db info
expect_status 3
grep -q "etc/zelk.xml:1: .*'zelk.db'" stderr || fail "no complaint"
expect_complaint "the configuration, which may name the datastore, cannot be used"
expect "$(where --db other.db)" "$scratch/other.db"
for program in zelk-db zelk-accumulate zelk-collect; do
  "$tree/bin/$program" --version | head -1 | grep -Eqx "$program [0-9.]+( \(commit [0-9a-f]{12}\))?"
done
