#!/bin/bash
# ZELK_COLLECT_LINGER: only a value below -1 is complained about.
. "$(dirname "$0")/common.sh"

config
provider memory.xml 'true'
for value in -5 -2 "-3 days"; do
  ZELK_COLLECT_LINGER=$value run -A -l alert -f memory.xml
  expect_status 0
  # Before -l is read, so no -l can hide it.
  expect_stderr "Invalid value of ZELK_COLLECT_LINGER: ${value%% *}"
done
for value in -1 0 100 abc ""; do
  ZELK_COLLECT_LINGER=$value run -A -f memory.xml
  expect_status 0
  expect_stderr
done

# Nobody listens there: unsent results are dropped at once, or after 100 ms.
for value in 0 abc 100 "100 ms"; do
  ZELK_COLLECT_LINGER=$value run -e tcp://127.0.0.1:1 -f memory.xml
  expect_status 0
  expect_stderr
done
