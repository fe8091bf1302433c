#!/bin/bash
# --diff tells what a check would tell, and how much it leaves out.
. "$(dirname "$0")/check_common.bash"

describe_facts box "<fact name='box.colour' from='colour'/>
<fact name='box.tuned' from='tuned'/><fact name='box.up' from='up' compare='volatile'/>
<fact name='box.speed' from='speed' type='number' unit='MB/s' compare='outlier'/>"
mkdir "$scratch/site"
cat >"$scratch/site/mine.xml" <<X
<checks>
  <check id="box-tuned" score="50">
    <title>another tuning</title>
    <fact>box.tuned</fact>
    <rule kind="differs" min_effect="5"/>
  </check>
</checks>
X
speed=100
for node in n{1..6}; do
  speed=$((speed + 1))
  tuned="100 $speed" colour=red
  [ "$node" != n5 ] || colour=blue
  [ "$node" != n6 ] || speed=900 tuned='200 100'
  answer "$node" box "colour: $colour\ntuned: $tuned\nup: 1$speed\nspeed: $speed"
done
take_in --expect 'n[1-6]'

check --checks "$scratch/site" --diff box
expect_status 0
expect_stdout '--- n[1-4] (4)' '+++ n5 (1)' '@@ class A @@' -box.colour=red +box.colour=blue \
  '--- n[1-4] (4)' '+++ n6 (1)' '@@ class A @@' '-box.tuned=100 101' '+box.tuned=200 100' \
  '# box.speed: numbers, median 103.5 MB/s of 6 nodes of class A' '! n6=900 MB/s (+769.6 %)' \
  '# left out: 1 fact not compared between nodes, 1 fact with differences that the check lets pass; --all shows them'
check --checks "$scratch/site" --diff box --all
said '+box.up=1102'
said '+box.tuned=100 102'
not_said 'left out'
