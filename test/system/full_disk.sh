#!/bin/bash
# A result that a full disk cannot hold is reported and removed.
. "$(dirname "$0")/common.sh"

[ "$(id -u)" -eq 0 ] || skip "needs root for a small file system"
mount -t tmpfs -o size=1m none "$out" 2>/dev/null || skip "cannot mount"
trap 'umount "$out"; clean_up' EXIT
config
provider small.xml 'echo fits'
provider large.xml 'head -c 3000000 /dev/zero'

run -A -f large.xml -f small.xml
expect_status 0
expect_stderr "Error writing stdout (28): No space left on device" \
  "Error accumulating provider output."
expect_results 1

# Not a page left: not even the header.
cat /dev/zero >"$out/filler" 2>/dev/null || true
run -A -f small.xml
expect_status 0
expect_stderr "Error writing header (28): No space left on device" \
  "Error accumulating provider output."
expect_results 1
