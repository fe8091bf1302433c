#!/bin/sh
# Arithmetic rate by multiplying matrices of doubles. The
# work is done by dgemm_hpl_mini_probe, which is built with the product.

script_folder=
# shellcheck source=/dev/null
. "${0%/*}/../common/prologue.sh"
probe=$script_folder/dgemm_hpl_mini_probe
[ -x "$probe" ] || tool_missing "$probe"
exec "$probe"
