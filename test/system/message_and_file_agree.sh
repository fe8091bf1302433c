#!/bin/bash
# Both deliveries carry the same bytes but for the times of the run.
. "$(dirname "$0")/common.sh"

config
provider memory.xml 'head -c 100000 /dev/zero; echo err >&2; exit 2'
listen 1
run -e "$endpoint" -H here -f memory.xml
expect_status 0
wait "$receiver" || fail "the receiver"
run -A -H here -f memory.xml
expect_status 0

# Bytes 80 to 103: time stamp and duration.
without_times() { head -c 80; tail -c +$((103 - 80 + 1)); }
cmp <(cat frames/1.frame? | without_times) <(without_times <"$(results)") ||
  fail "they differ"
