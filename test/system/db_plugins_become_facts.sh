#!/bin/bash
# Monitoring plugins, as Debian packages them, run as providers by a description
# alone, and what they print becomes facts.
. "$(dirname "$0")/db_common.bash"

plugins=/usr/lib/nagios/plugins
[ -x $plugins/check_load ] || skip "monitoring-plugins-basic is not installed"

config
examples=$tree/share/zelkara/examples
names=(check_disk check_load check_procs check_swap check_users)
words=()
for name in "${names[@]}"; do words+=(-f "$examples/$name.xml"); done
run -A -c "$root/etc/zelk.xml" "${words[@]}"
expect_status 0
expect_results 5
"$accumulate" scan "$out" -q >/dev/null

db facts --descriptions "$examples" --format csv
[ "$status" -le 1 ] || fail "status $status"
for name in "${names[@]}"; do
  grep -qE "^$host,$name,None,$name\.state,[0-3],,integer,lower,state\$" stdout ||
    fail "no state of $name"
  grep -qE "^$host,$name,None,$name\.text,.+,,text,none,volatile\$" stdout ||
    fail "no text of $name"
done
for fact in 'check_load.perf.load1,[0-9.]+,,' 'check_swap.perf.swap,[0-9.e+]+,B,' \
  'check_procs.perf.procs,[0-9]+,,' 'check_users.perf.users,[0-9]+,,' \
  'check_disk.perf./[^,]*,[0-9.e+]+,(B|MiB|MB),'; do
  grep -qE "^$host,check_[a-z]+,None,${fact}number,none,outlier\$" stdout ||
    fail "no fact $fact"
done
