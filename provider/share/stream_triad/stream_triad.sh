#!/bin/sh
# Memory bandwidth by the four STREAM kernels. The
# work is done by stream_triad_probe, which is built with the product.

script_folder=
# shellcheck source=/dev/null
. "${0%/*}/../common/prologue.sh"
probe=$script_folder/stream_triad_probe
[ -x "$probe" ] || tool_missing "$probe"
exec "$probe"
