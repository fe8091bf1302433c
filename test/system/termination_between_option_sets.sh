#!/bin/bash
# Wherever between two runs a signal comes, the worker ends with its number.
. "$(dirname "$0")/common.sh"

sets=$(printf '<option id="o%d"/>' {1..2000})
config "<provider_options><provider name=\"quick\">$sets</provider></provider_options>"
provider quick.xml 'true'
some_results() { [ "$(results | wc -l)" -ge "$1" ]; }
for round in {1..10}; do
  start -A -f quick.xml
  wait_for some_results "$round"
  if ((round % 2)); then finish TERM; else finish INT; fi
  expect_status $((round % 2 ? 15 : 2))
  expect_stderr "" "zelk_run_provider: caught signal. Cleaning up."
  expect "$(tagged)" ""
  # Results that were delivered stay; one in the making may be an empty file.
  expect "$(find "$out" -name 'ZELK_*' -size -736c -not -empty | wc -l)" 0
  rm -f "$out"/ZELK_*
done
