#!/bin/bash
# Asynchronous mode tests its directory before any provider runs.
. "$(dirname "$0")/common.sh"

provider memory.xml "touch $scratch/ran"
refused() {
  config
  run -A -f memory.xml
  expect_status 1
  expect_stdout
  expect_stderr "Unable to access output directory $out. This directory needs to be created with global write permissions prior to executing zelk-collect in asynchronous mode. Please see the BREVIX README for more information"
  [ ! -e ran ] || fail "a provider ran"
}

out=$scratch/nowhere refused
out=$scratch/memory.xml/below refused

# The default is var/spool of the install root, which the product does not make.
out=$root/var/spool
echo '<zelk/>' >"$root/etc/zelk.xml"
config() { :; }
refused
