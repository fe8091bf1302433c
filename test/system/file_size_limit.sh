#!/bin/bash
# A result over a file size limit is a failed write, not a killed worker.
. "$(dirname "$0")/common.sh"

config
provider large.xml 'head -c 300000 /dev/zero'
provider small.xml 'echo fits'
(ulimit -f 100; run -A -f large.xml -f small.xml; echo "$status" >status)
status=$(cat status)
expect_status 0
expect_stderr "Error writing stdout (27): File too large" \
  "Error accumulating provider output."
expect_results 1
