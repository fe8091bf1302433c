#!/bin/bash
# One run is the baseline: it is marked, starred, named "baseline", and stays
# when old runs go.
. "$(dirname "$0")/db_common.bash"

fill 2 --run new --label one
fill 3 --run new
db baseline
expect_stdout "no run is marked"
db show baseline node0001
expect_status 3
expect_complaint "'zelk-db baseline set RUN' marks one"
db baseline set label:one --name golden --who ada
expect_status 0
expect_text "baseline: run 1 ("
db baseline list --json
[[ $(shown) == *'"run":1,'*'"name":"golden"'*'"who":"ada"'* ]] || fail "not marked"
db runs
[[ $(shown) == *' *1  '*"* = baseline: 1 ("*", 'golden')" ]] || fail "no star"
db query 'SELECT run, name, who FROM v_baseline' --format csv
expect_stdout run,name,who 1,golden,ada
db show baseline --header
expect_status 0

# It stays, and says so, until it is told to go.
db prune --keep 1 --keep-label none --yes
expect_complaint "stays: it is the baseline"
expect_stdout "nothing to remove"
db export baseline -o b.zst
expect_status 0
db prune baseline --keep-label none --force --yes
expect_text "removed run 1"
db baseline
expect_stdout "no run is marked"
# A mark is this datastore's own affair and does not travel.
db import b.zst
expect_status 0
db baseline clear
expect_stdout "no run was marked"
