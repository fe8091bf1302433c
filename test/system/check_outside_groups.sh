#!/bin/bash
# Groups that Slurm and ClusterShell know, in every option that takes node sets.
. "$(dirname "$0")/check_common.bash"

# stand_in PROGRAM SCRIPT: in front of one that this machine may have.
stand_in() {
  printf '#!/bin/sh\n%s\n' "$2" >"$scratch/bin/$1"
  chmod +x "$scratch/bin/$1"
}
mkdir "$scratch/bin"
export PATH=$scratch/bin:$PATH

describe_facts box "<fact name='box.colour' from='colour'/>"
for node in n{1..6}; do answer "$node" box 'colour: red'; done
take_in --expect 'n[1-6]'

for program in sinfo cluset; do stand_in "$program" 'exit 127'; done
refused '-w: sinfo is not installed' -w @slurm:debug
refused "-x: there is no group '@rack' (known: " -x @rack

stand_in sinfo "echo sinfo >>$scratch/asked
case \"\$*\" in *--partition=debug) printf 'n1\nn2\nn2\n' ;; *=far) echo m1 ;; *=down) echo 'no controller' >&2; exit 1 ;; esac"
stand_in cluset 'case "$*" in *@rack) echo "n[2-3]" ;; *) echo "unknown source" >&2; exit 1 ;; esac'
check -w @slurm:debug,@rack -x '@slurm:debug&@rack' --json
expect_status 0
jq -e '[.nodes[].name] == ["n1", "n3"]' stdout >/dev/null || fail 'other nodes'
expect "$(cat asked)" sinfo
check --class X=@slurm:debug --class Y=@rack!n2 --show node @rack
said n3
check --class X=@slurm:debug --json
jq -e '.classes[] | select(.name == "X").nodes == ["n1", "n2"]' stdout >/dev/null || fail 'no such class'
refused '-w: the run neither expected nor has m1' -w @slurm:far
refused "Slurm has no nodes in a partition 'no;where'" -w '@slurm:no;where'
refused '--show node: sinfo: no controller' --show node @slurm:down
refused '-w: cluset: unknown source' -w @zones:a

stand_in sinfo "echo n1; exec sleep 1000"
refused '--class: sinfo did not answer' --class X=@slurm:debug
nothing_runs || fail 'sinfo still runs'
