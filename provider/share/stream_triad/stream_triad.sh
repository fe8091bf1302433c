#!/bin/sh
# Memory bandwidth by the four STREAM kernels. The
# work is done by stream_triad_probe, which is built with the product.

# shellcheck source=/dev/null
. "${0%/*}/../common/prologue.sh"
probe=${0%/*}/stream_triad_probe
[ -x "$probe" ] || tool_missing "$probe"
exec "$probe"
