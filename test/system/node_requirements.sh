#!/bin/bash
# A cluster provider needs a node file that names enough nodes.
. "$(dirname "$0")/common.sh"

config
check="Please check min_nodes, max_nodes and nodefile"
cluster() { provider "$1.xml" 'echo ran' "<requires min_nodes=\"$2\" max_nodes=\"$3\"/>"; }
cluster pair 2 4
cluster any 0 1
: >none
echo 'node[01-03]' >three
echo 'node[1-500]' >many

for name in pair any; do
  run -A -f "$name.xml"
  expect_status 0
  expect_stderr "No nodelist provided for a data provider that requires a cluster: '$name'" "$check"
  for file in none nowhere; do
    run -A -n "$file" -f "$name.xml"
    expect_stderr "Unable to read nodefile for data provider '$name'" "$check"
  done
done
echo only >one
run -A -n one -f pair.xml
expect_stderr "Minimum number of nodes required to run data provider 'pair' not met." "$check"
expect_results 0

run -A -n three -f pair.xml
expect_stderr
run -A -n many -f pair.xml
expect_stderr "Nodefile contains more nodes than required by the data provider: 'pair'"
run -A -n one -f any.xml
expect_stderr
expect_results 3
