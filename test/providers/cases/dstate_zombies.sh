# shellcheck shell=sh
# Tasks with names that try to look like states; one that is stuck and some that
# only wait; a real stuck process, and real parents that wait for a child.

stable_dstate_zombies() { sed -e 's/^\(tasks\.[a-z_]*\): .*/\1/' -e '/^zombie: /d' -e '/^stuck: /d' -e '/^waiting: /d'; }
seconds_dstate_zombies=3
export STUCK_SECONDS=1

put_task() {  # FOLDER PID NAME STATE [SECONDS-AFTER-BOOT [PARENT [FLAGS [PENDING]]]]
  status_text="Name:\\t$3\\nState:\\t$4 (x)\\nTgid:\\t$2\\nPid:\\t$2\\nPPid:\\t${6:-1}\\n"
  status_text="${status_text}SigPnd:\\t0000000000000000\\nShdPnd:\\t0000000000000${8:-000}\\n"
  status_text="${status_text}voluntary_ctxt_switches:\\t77\\nnonvoluntary_ctxt_switches:\\t0\\n"
  put "$1/proc/$2/status" "$status_text"
  put "$1/proc/$2/task/$2/status" "$status_text"
  put "$1/proc/$2/stat" \
    "$2 ($3) $4 ${6:-1} 1 1 0 -1 ${7:-0} 0 0 0 0 0 0 0 0 20 0 1 0 ${5:-1}00 2400256 237\\n"
}

tree_dstate_zombies() {
  mkdir -p "$1/proc/self"
  put "$1/proc/uptime" '1000.00 1.00\n'
  put_task "$1" 1 init S
  put_task "$1" 20 'a) R (b' Z
  put_task "$1" 21 'a) R (b' Z
  put_task "$1" 22 'x\\\\n1 (stat) Z y' S
  put_task "$1" 30 'tmux: server' R
  put_task "$1" 40 'kworker/0:1' I
  put_task "$1" 50 'nfsd' D
  put "$1/proc/50/wchan" 'rpc_wait_bit_killable'
  put_task "$1" 51 young D 950
  put_task "$1" 52 killed D 990 1 0 100
  put_task "$1" 53 'b) D 1 (vfork' D 1
  put_task "$1" 54 child S 1 53 4194368
  put_task "$1" 55 vfork-seen-by-root D 1
  put "$1/proc/55/wchan" 'kernel_clone'
  put_task "$1" 56 server D 1
  put_task "$1" 57 worker S 1 56 4194304
  put_task "$1" 60 brief D
  put "$1/proc/60/status" 'State:\tS (sleeping)\nPid:\t60\nvoluntary_ctxt_switches:\t5\n'
  mkdir -p "$1-none" "$1-hidden/proc/self"
  put_task "$1-hidden" 4000 sh R
}

test_dstate_zombies() {
  check "tasks: all" gives 0 dstate_zombies "tasks.total: 15"
  check "tasks: zombies by name" gives 0 dstate_zombies "zombie: 2 x a)_R_(b"
  check "tasks: a name with a line end makes no zombie" gives 0 dstate_zombies "tasks.zombies: 2"
  check "tasks: idle kernel threads sleep" gives 0 dstate_zombies "tasks.sleeping: 5"
  check "tasks: a stuck one and where" gives 0 dstate_zombies "stuck: nfsd in rpc_wait_bit_killable (50)"
  check "tasks: one that was killed and is still there" gives 0 dstate_zombies "stuck: killed in ? (52)"
  check "tasks: a parent whose children do something" gives 0 dstate_zombies "stuck: server in ? (56)"
  check "tasks: no others are stuck" gives 0 dstate_zombies "tasks.stuck: 3"
  check "tasks: one that is younger than a minute only waits" gives 0 dstate_zombies "waiting: young in ? (51)"
  check "tasks: parents that wait for a child to start a program" gives 0 dstate_zombies \
    "tasks.waiting_for_child: 2"
  tree=dstate_zombies-none
  check "tasks: no /proc" gives 80 dstate_zombies
  tree=dstate_zombies-hidden
  check "tasks: a /proc that hides the others" gives 82 dstate_zombies
  tree=
  check "tasks: a real /proc that hides the others" hides_others dstate_zombies
  shell="env STUCK_SECONDS=41"
  check "tasks: refuses no duration" gives 2 dstate_zombies
  shell=
  check "tasks: a process that cannot be killed" finds_stuck_process
  check "tasks: a parent in vfork is not stuck" finds_no_vfork
  if can_be_nobody; then
    shell=$as_nobody
    check "tasks: nor for nobody" finds_no_vfork
    shell=
  fi
}

# hides_others PROVIDER: as nobody, with a /proc of its own that hides all
# others. Kernels before 5.8 know no such word, and share the setting.
hides_others() {
  if ! can_be_nobody; then echo "skipped: not root"; return 0; fi
  mkdir -p "$scratch/hiding/proc"
  # shellcheck disable=SC2016,SC2086 # for the inner shell; words on purpose
  unshare -m --propagation private sh -c '
    mount -t proc -o hidepid=invisible proc "$1/proc" 2>/dev/null || exit 77
    chmod 755 "$1"
    shift
    exec "$@"' sh "$scratch/hiding" $as_nobody env "ZELK_PROVIDER_ROOT=$scratch/hiding" \
    "$share/$1/$1.sh" >"$scratch/out" 2>"$scratch/err"
  status=$?
  if [ "$status" -eq 77 ]; then echo "skipped: no such mount"; return 0; fi
  [ "$status" -eq 82 ] || { echo "status $status"; cat "$scratch/out" "$scratch/err"; return 1; }
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

# The child of a vfork says that it is there, and waits to be ended.
finds_no_vfork() {
  : >"$scratch/vfork"
  # 58 is vfork on x86_64; elsewhere there is clone, with CLONE_VM and CLONE_VFORK.
  # shellcheck disable=SC2086 # words on purpose
  timeout 60 $shell /usr/bin/python3 -c '
import ctypes, os, signal
libc = ctypes.CDLL(None)
if os.uname().machine != "x86_64":
    os.write(1, b"other")
    os._exit(0)
if libc.syscall(58) == 0:
    libc.write(1, b"child", 5)
    libc.pause()
    libc._exit(0)' >"$scratch/vfork" &
  parent=$!
  until [ -s "$scratch/vfork" ]; do kill -0 "$parent" || return 1; done
  if grep -q other "$scratch/vfork"; then echo "skipped: another machine"; return 0; fi
  gives 0 dstate_zombies
  # timeout leads a group of its own, and the child in it would live on.
  kill -KILL "-$parent"
  grep -q '^tasks.waiting_for_child: [1-9]' "$scratch/out" || { cat "$scratch/out"; return 1; }
  if grep -q '^\(stuck\|waiting\): python' "$scratch/out"; then cat "$scratch/out"; return 1; fi
}
