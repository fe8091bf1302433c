#!/bin/bash
# --fail-fast: the first failure ends it. What a machine lacks is none.
# shellcheck disable=SC2154
. "$(dirname "$0")/collect_common.bash"

describe alpha 'exit 80'
describe beta 'exit 3'
describe gamma "sleep 600"
describe delta "touch $scratch/begun"
mv root/etc/providers/delta.xml root/etc/providers/zeta.xml
collect --fail-fast
expect_status 1
expect_stored 1 alpha beta
expect_text "  stopped       1  $host   gamma, zeta: --fail-fast: beta ended with exit status 3 on $host"
[ ! -e begun ] || fail "it went on"
expect_nothing_left
