# shellcheck shell=sh
# A user's left-over processes beside a batch step and system services.

stable_stray_processes() { sed '/^\/proc\|^process/d'; }

put_process() {  # FOLDER PID NAME UID KIB
  put "$1/proc/$2/status" "Name:\\t$3\\nState:\\tS (sleeping)\\nPid:\\t$2\\nPPid:\\t1\\nUid:\\t$4\\t$4\\t$4\\t$4\\nVmRSS:\\t  $5 kB\\n"
}

tree_stray_processes() {
  put "$1/proc/loadavg" '3.10 2.05 1.00 2/300 4242\n'
  put "$1/proc/pressure/cpu" 'some avg10=94.77 avg60=63.81 avg300=57.81 total=7128255413\n'
  put "$1/etc/login.defs" '# UID_MIN 5\nUID_MIN\t\t\t 500\n'
  put_process "$1" 1 systemd 0 1000
  put_process "$1" 2001 'a.out x' 501 2048
  put_process "$1" 2002 'a.out x' 501 2048
  put_process "$1" 2003 slurmstepd 0 5000
  put_process "$1" 2004 nobodys 65534 100
  put_process "$1" 2005 daemon 499 100
  mkdir -p "$1-none/proc"
  put "$1-hidden/proc/loadavg" '3.10 2.05 1.00 2/300 4242\n'
  put_process "$1-hidden" 4000 sh 501 100
}

test_stray_processes() {
  check "strays: by user and name" gives 0 stray_processes "process: 501 a.out_x x 2 4096"
  check "strays: all" gives 0 stray_processes "processes.of_users: 2"
  check "strays: memory" gives 0 stray_processes "processes.of_users_kib: 4096"
  check "strays: steps of a batch system" gives 0 stray_processes "job_step: slurmstepd x 1"
  check "strays: system accounts are none" lacks stray_processes 'nobodys\|daemon'
  check "load" gives 0 stray_processes "/proc/loadavg: 3.10 2.05 1.00 2/300 4242"
  check "pressure" gives 0 stray_processes \
    "/proc/pressure/cpu: some avg10=94.77 avg60=63.81 avg300=57.81 total=7128255413"
  rm -r "$trees/stray_processes/proc/pressure"
  check "a kernel that measures no pressure" gives 0 stray_processes "missing: /proc/pressure"
  tree=stray_processes-none
  check "strays: no /proc" gives 80 stray_processes
  tree=stray_processes-hidden
  check "strays: a /proc that hides the others" gives 82 stray_processes
  tree=
  check "strays: a login.defs that leads to a mount that never answers" strays_beside_stuck_mount
  check "strays: the chain that started the script is none" is_no_stray
}

# As somebody whose number is one of people: nothing of this user runs but the
# script itself, its starter and its children.
is_no_stray() {
  if ! can_be_nobody; then echo "skipped: not root"; return 0; fi
  shell='setpriv --reuid=54321 --regid=54321 --clear-groups'
  gives 0 stray_processes "processes.of_users: 0" || { cat "$scratch/out"; return 1; }
}

strays_beside_stuck_mount() {
  links="$scratch/strays tree"
  mkdir -p "$scratch/stuck" "$links/etc"
  cp -R "$trees/stray_processes/proc" "$links"
  ln -s "$scratch/stuck/x" "$links/etc/login.defs"
  timeout 60 "$here/stuck_mount.py" "$scratch/stuck" env "ZELK_PROVIDER_ROOT=$links" \
    "$share/stray_processes/stray_processes.sh" >"$scratch/out" 2>"$scratch/err"
  status=$?
  if [ "$status" -eq 77 ]; then echo "skipped: no root or no FUSE"; return 0; fi
  [ "$status" -eq 83 ] || { echo "status $status"; cat "$scratch/out" "$scratch/err"; return 1; }
  for line in 'unreadable: /etc/login.defs: no answer in 5 s' 'job_step: slurmstepd x 1'; do
    grep -q -F -x "$line" "$scratch/out" || { echo "no '$line'"; cat "$scratch/out"; return 1; }
  done
}
