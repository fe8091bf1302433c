#!/bin/sh
# How steadily the node works: disturbed work, wake-ups, cost of calls. The
# work is done by latency_jitter_probe, which is built with the product.

script_folder=
# shellcheck source=/dev/null
. "${0%/*}/../common/prologue.sh"
probe=$script_folder/latency_jitter_probe
[ -x "$probe" ] || tool_missing "$probe"
exec "$probe"
