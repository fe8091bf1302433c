#!/bin/sh
# How fast files are written, read, made and removed in some folders. The
# work is done by disk_fs_rw_probe, which is built with the product.

script_folder=
# shellcheck source=/dev/null
. "${0%/*}/../common/prologue.sh"
probe=$script_folder/disk_fs_rw_probe
[ -x "$probe" ] || tool_missing "$probe"
exec "$probe"
