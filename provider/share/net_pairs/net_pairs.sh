#!/bin/sh
# Latency and bandwidth of the network between the nodes of a group, pair by
# pair. The work is done by net_pairs_probe, which is built with the product.

script_folder=
# shellcheck source=/dev/null
. "${0%/*}/../common/prologue.sh"
probe=$script_folder/net_pairs_probe
[ -x "$probe" ] || tool_missing "$probe"
exec "$probe"
