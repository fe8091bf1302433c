#!/bin/bash
# Two runs of one second give two files: mkstemp tells them apart.
. "$(dirname "$0")/common.sh"

config '<provider_options><provider name="memory">
  <option id="a"/><option id="b"/><option id="c"/><option id="d"/>
</provider></provider_options>'
provider memory.xml true
run -A -f memory.xml
run -A -f memory.xml
expect_results 8
# Runs of a millisecond each: at least two of the eight share a second.
[ "$(results | sed 's/__......$//' | sort -u | wc -l)" -lt 8 ] || fail "$(results)"
