# shellcheck shell=sh
# Tasks with names that try to look like states; one that is stuck and one that
# only waits; a real stuck process.

stable_dstate_zombies() { sed -e 's/^\(tasks\.[a-z]*\): .*/\1/' -e '/^zombie: /d' -e '/^stuck: /d'; }
seconds_dstate_zombies=3

put_task() {  # FOLDER PID NAME STATE
  put "$1/proc/$2/task/$2/stat" "$2 ($3) $4 1 1 1 0 -1\\n"
  put "$1/proc/$2/status" "Name:\\tx\\nState:\\t$4 (x)\\nPid:\\t$2\\nvoluntary_ctxt_switches:\\t77\\nnonvoluntary_ctxt_switches:\\t0\\n"
}

tree_dstate_zombies() {
  mkdir -p "$1/proc/self"
  put_task "$1" 1 init S
  put_task "$1" 20 'a) R (b' Z
  put_task "$1" 21 'a) R (b' Z
  put_task "$1" 30 'tmux: server' R
  put_task "$1" 40 'kworker/0:1' I
  put_task "$1" 50 nfsd D
  put "$1/proc/50/wchan" 'rpc_wait_bit_killable'
  put_task "$1" 60 brief D
  put "$1/proc/60/status" 'State:\tS (sleeping)\nPid:\t60\nvoluntary_ctxt_switches:\t5\n'
  mkdir -p "$1-none"
}

test_dstate_zombies() {
  check "tasks: all" gives 0 dstate_zombies "tasks.total: 7"
  check "tasks: zombies by name" gives 0 dstate_zombies "zombie: 2 x a)_R_(b"
  check "tasks: idle kernel threads sleep" gives 0 dstate_zombies "tasks.sleeping: 2"
  check "tasks: a stuck one and where" gives 0 dstate_zombies "stuck: nfsd in rpc_wait_bit_killable (50)"
  check "tasks: one that waits for a moment is not stuck" gives 0 dstate_zombies "tasks.stuck: 1"
  tree=dstate_zombies-none
  check "tasks: no /proc" gives 80 dstate_zombies
  tree=
  check "tasks: a process that cannot be killed" finds_stuck_process
}

# A question to the mount waits so that it can be interrupted, until it is: a
# signal that must wait for the answer puts it into state D.
finds_stuck_process() {
  mkdir -p "$scratch/stuck"
  # shellcheck disable=SC2016 # for the inner shell
  timeout 60 "$here/stuck_mount.py" "$scratch/stuck" sh -c '
    stat -f "$3" >"$2.stat" 2>&1 &
    until grep -q "^State:.S" "/proc/$!/status" && grep -q request_wait "/proc/$!/wchan"; do :; done
    kill -KILL "$!"
    until grep -q "^State:.D" "/proc/$!/status"; do :; done
    "$1" >"$2" 2>&1' sh "$share/dstate_zombies/dstate_zombies.sh" "$scratch/out" "$scratch/stuck"
  status=$?
  if [ "$status" -eq 77 ]; then echo "skipped: no root or no FUSE"; return 0; fi
  grep -q '^stuck: stat in ' "$scratch/out" || { echo "status $status"; cat "$scratch/out"; return 1; }
}
