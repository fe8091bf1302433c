#!/bin/sh
# Arithmetic rate by multiplying matrices of doubles. The
# work is done by dgemm_hpl_mini_probe, which is built with the product.

# shellcheck source=/dev/null
. "${0%/*}/../common/prologue.sh"
probe=${0%/*}/dgemm_hpl_mini_probe
[ -x "$probe" ] || tool_missing "$probe"
exec "$probe"
