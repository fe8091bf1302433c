# shellcheck shell=sh
# A recorded table of mounts with a stand-in for `stat` that hangs, is slow or
# refuses by the mount's name; 10,000 mounts; and a mount of this machine that
# takes questions and never answers.

mountinfo_line() {  # ID DEVICE POINT TYPE SOURCE
  printf '%s 1 0:%s / %s rw - %s %s rw\n' "$1" "$2" "$3" "$4" "$5"
}

tree_fs_responsive() {
  mkdir -p "$1/proc/self" "$1-dead/proc/self" "$1-big/proc/self" "$1-stuck/proc/self"
  {
    mountinfo_line 20 1 / ext4 /dev/sda1
    mountinfo_line 21 2 /proc proc proc
    mountinfo_line 22 3 /misc autofs auto.misc
    mountinfo_line 23 4 '/mnt/two\040words' nfs4 srv:/two
    mountinfo_line 24 4 /mnt/again nfs4 srv:/two
    mountinfo_line 25 5 /covered nfs4 srv:/below
    mountinfo_line 26 6 /covered tmpfs tmpfs
    # shellcheck disable=SC2016 # must not be expanded
    mountinfo_line 27 7 '/mnt/$(id)' nfs4 srv:/id
    mountinfo_line 28 8 '/mnt/%s' nfs4 srv:/percent
  } >"$1/proc/self/mountinfo"
  {
    mountinfo_line 20 1 / ext4 /dev/sda1
    mountinfo_line 21 2 /hang/a nfs4 dead:/a
    mountinfo_line 22 3 /hang/b nfs4 dead:/b
    mountinfo_line 23 4 /slow nfs4 srv:/slow
    mountinfo_line 24 5 /refuse nfs4 srv:/refuse
  } >"$1-dead/proc/self/mountinfo"
  awk 'BEGIN { for (i = 0; i < 10000; i++) print i, 1, "0:" i, "/ /home/user" i, "rw - nfs4 srv:/" i, "rw" }' \
    >"$1-big/proc/self/mountinfo"
  {
    mountinfo_line 20 1 / ext4 /dev/sda1
    mountinfo_line 21 41 /hang/old nfs4 dead:/old
    mountinfo_line 22 42 '/hang/two\040words' nfs4 dead:/two
    mountinfo_line 23 44 /covered nfs4 srv:/mounted/anew
  } >"$1-stuck/proc/self/mountinfo"
  put_stuck "$1-stuck" 100 'stat\0-f\0-c\0000:41 answered\0--\0/hang/old\0'
  put_stuck "$1-stuck" 101 'stat\0-f\0-c\0000:42 %%S %%b\0--\0/hang/two words\0'
  put_stuck "$1-stuck" 102 'stat\0-f\0-c\0000:43 answered\0--\0/covered\0'
  put_stuck "$1-stuck" 103 'stat\0-f\0-c\0answered\0--\0/\0/hang/old\0'
  tree_of_forgeries "$1-forged"
  mkdir -p "$1-passing/proc/self"
  {
    mountinfo_line 20 1 / overlay overlay
    mountinfo_line 21 2 /run/user/1000 tmpfs tmpfs
    mountinfo_line 22 3 /var/lib/docker/overlay2/0123/merged overlay overlay
    mountinfo_line 23 4 /home/u/.local/share/containers/storage/overlay/9/merged fuse.fuse-overlayfs x
    mountinfo_line 24 5 /var/lib/kubelet/pods/1/volumes/secret tmpfs tmpfs
    mountinfo_line 25 6 /run/credentials/a.service ramfs none
    mountinfo_line 26 7 /snap/core/1 squashfs /dev/loop7
    mountinfo_line 27 8 /home/user1 nfs4 srv:/home
  } >"$1-passing/proc/self/mountinfo"
  make_stat
}

# put_stuck FOLDER PID COMMAND-LINE: a child that was killed and is still there.
put_stuck() {
  put "$1/proc/$2/comm" 'stat\n'
  put "$1/proc/$2/status" 'Name:\tstat\nState:\tD (disk sleep)\nSigPnd:\t0000000000000100\nShdPnd:\t0000000000000100\n'
  put "$1/proc/$2/cmdline" "$3"
}

# What looks like such a child and is none: names with line ends, another
# state, no signal to come, another user's, another program's words.
tree_of_forgeries() {
  mkdir -p "$1/proc/self"
  mountinfo_line 20 1 / ext4 /dev/sda1 >"$1/proc/self/mountinfo"
  words='stat\0-f\0-c\0000:1 answered\0--\0/\0'
  put_stuck "$1" 200 "$words"
  put "$1/proc/200/comm" 'x\nstat\n'
  put "$1/proc/200/stat" '200 (x\n1 (stat) D y) S 1 1 1 0\n'
  put "$1/proc/200/status" 'Name:\tx\\\\nState:\\tD\nState:\tS (sleeping)\nSigPnd:\t0000000000000000\nShdPnd:\t0000000000000100\n'
  put_stuck "$1" 201 "$words"
  put "$1/proc/201/status" 'Name:\tstat\nState:\tD (disk sleep)\nSigPnd:\t0000000000000000\nShdPnd:\t0000000000004000\n'
  put_stuck "$1" 202 'stat\0-L\0-c\0000:1 answered\0--\0/\0'
  put_stuck "$1" 203 "$words"
  if [ "$(id -u)" -eq 0 ]; then chown -R 65534 "$1/proc/203"; else rm -r "$1/proc/203"; fi
}

# Answers as stat does: one line for each path, complaints on standard error.
make_stat() {
  # shellcheck disable=SC2016 # for the stand-in
  put_tool "$scratch/stat/stat" 'status=0
format=$3
while [ "$1" != -- ]; do shift; done
shift
for path in "$@"; do
  case $path in
    /hang/old | "/hang/two words") echo "stat: was asked again: $path" >&2; exit 1 ;;
    /hang/*) trap "" TERM; sleep 30 ;;
    /slow) sleep 2; echo "$format" ;;
    /refuse) echo "stat: cannot read file system information for '\''/refuse'\'': Stale file handle" >&2; status=1 ;;
    "/mnt/two words" | "/mnt/\$(id)" | /mnt/%s | / | /covered | /home/*) echo "$format" ;;
    *) echo "stat: $path: No such file or directory" >&2; status=1 ;;
  esac
done
exit "$status"'
}

with_stat() { shell="env ZELK_PROVIDER_PATH=$scratch/stat:/usr/sbin:/usr/bin:/sbin:/bin"; }

test_fs_responsive() {
  with_stat
  check "mounts answer: a local one" gives 0 fs_responsive "filesystem: ok ext4 /"
  check "mounts answer: a name with a blank" gives 0 fs_responsive \
    'filesystem: ok nfs4 /mnt/two\040words'
  # shellcheck disable=SC2016 # must not be expanded
  check "mounts answer: a name like a command" gives 0 fs_responsive 'filesystem: ok nfs4 /mnt/$(id)'
  check "mounts answer: a name like a format" gives 0 fs_responsive 'filesystem: ok nfs4 /mnt/%s'
  check "mounts answer: the visible one of two" gives 0 fs_responsive "filesystem: ok tmpfs /covered"
  check "mounts answer: each file system once" lacks fs_responsive again
  check "mounts answer: automount points are not touched" lacks fs_responsive misc
  check "mounts answer: in the table's order" in_table_order
  tree=fs_responsive-dead
  check "dead mounts: found, and in bounded time" finds_dead_mounts
  tree=fs_responsive-big
  check "10,000 mounts" finds_all_mounts
  tree=fs_responsive-stuck
  check "earlier questions hang: all are counted" gives 0 fs_responsive "stuck.before: 4"
  check "earlier questions hang: told as hung, not asked again" gives_quickly 0 fs_responsive \
    "filesystem: hung nfs4 /hang/old"
  check "earlier questions hang: asked by another script, a name with a blank" gives 0 fs_responsive \
    'filesystem: hung nfs4 /hang/two\040words'
  check "earlier questions hang: the others are asked" gives 0 fs_responsive "filesystem: ok ext4 /"
  check "earlier questions hang: a new mount at the same place is asked" gives 0 fs_responsive \
    "filesystem: ok nfs4 /covered"
  tree=fs_responsive-forged
  check "no process of somebody else counts as an earlier question" gives 0 fs_responsive "stuck.before: 1"
  check "and none with another command line switches a mount off" gives 0 fs_responsive \
    "filesystem: ok ext4 /"
  tree=fs_responsive-passing
  check "mounts of logins and containers are left out" gives 0 fs_responsive "filesystems.ok: 2"
  check "mounts beside them are not" gives 0 fs_responsive "filesystem: ok nfs4 /home/user1"
  check "a root that is an overlay neither" gives 0 fs_responsive "filesystem: ok overlay /"
  shell=
  tree=
  check "names of processes with line ends switch nothing off" forged_names_do_nothing
  check "a mount that never answers" leaves_stuck_child
}

# forged_names_do_nothing: 40 processes of nobody, where that can be, named like a line of
# another one.
forged_names_do_nothing() {
  as=
  : >"$scratch/forgers"
  ! can_be_nobody || as=$as_nobody
  # shellcheck disable=SC2016,SC2086 # for the inner shell; words on purpose
  timeout 60 $as /usr/bin/python3 -c '
import ctypes, os, signal, sys
for number in range(40):
    if os.fork() == 0:
        ctypes.CDLL(None).prctl(15, b"x\n1 (stat) D y", 0, 0, 0)
        os.write(1, b"1\n")
        signal.pause()
os.write(1, b"all\n")
signal.pause()' >"$scratch/forgers" &
  forger=$!
  until [ "$(wc -l <"$scratch/forgers")" -eq 41 ]; do kill -0 "$forger" || return 1; done
  run fs_responsive
  kill "$forger"
  wait "$forger" 2>/dev/null
  [ "$status" -eq 0 ] || { echo "status $status: $(cat "$scratch/err")"; return 1; }
  grep -q -x 'stuck.before: 0' "$scratch/out" || { cat "$scratch/out"; return 1; }
}

in_table_order() {
  run fs_responsive
  sed -n 's/^filesystem: ok [a-z0-9]* //p' "$scratch/out" | tr '\n' ' ' >"$scratch/order"
  # shellcheck disable=SC2016 # must not be expanded
  printf '%s ' / '/mnt/two\040words' /covered '/mnt/$(id)' /mnt/%s | diff - "$scratch/order"
}

finds_dead_mounts() {
  run fs_responsive
  [ "$status" -eq 0 ] || { echo "status $status: $(cat "$scratch/err")"; return 1; }
  for line in "filesystem: ok ext4 /" "filesystem: hung nfs4 /hang/a" "filesystem: hung nfs4 /hang/b" \
    "filesystem: slow nfs4 /slow" "filesystem: error nfs4 /refuse Stale file handle" \
    "filesystems.hung: 2"; do
    grep -q -F -x -e "$line" "$scratch/out" || { echo "lacks '$line'"; cat "$scratch/out"; return 1; }
  done
  [ "$ticks" -lt 1500 ] || { echo "took $ticks hundredths of a second"; return 1; }
}

finds_all_mounts() {
  gives 0 fs_responsive "filesystems.ok: 10000" || return 1
  [ "$ticks" -lt 2000 ] || { echo "took $ticks hundredths of a second"; return 1; }
}

# The provider's own outputs must be at their end too, or who reads them would
# wait for the child that is left behind. A second run adds no child; of the
# first one there are two, one of them for the many.
leaves_stuck_child() {
  mkdir -p "$scratch/stuck mount"
  # shellcheck disable=SC2016 # for the inner shell
  timeout 60 "$here/stuck_mount.py" "$scratch/stuck mount" sh -c '
    for run in 1 2; do
      "$1" 2>&1 | cat >"$2.$run"
      grep -l "^[0-9]* (stat) D " /proc/[0-9]*/stat 2>/dev/null | wc -l >>"$2.count"
    done' sh "$share/fs_responsive/fs_responsive.sh" "$scratch/out" 2>"$scratch/err"
  status=$?
  if [ "$status" -eq 77 ]; then echo "skipped: no root or no FUSE"; return 0; fi
  for run in 1 2; do
    for line in "filesystem: hung fuse $scratch/stuck\\040mount" 'filesystems.hung: 1'; do
      grep -q -F -x "$line" "$scratch/out.$run" ||
        { echo "run $run, status $status: no '$line'"; cat "$scratch/out.$run" "$scratch/err"; return 1; }
    done
  done
  grep -q -x 'stuck.before: 0' "$scratch/out.1" || { cat "$scratch/out.1"; return 1; }
  # Two for this mount; on a busy machine one that was asked twice dies slowly, too.
  before=$(sed -n 's/^stuck.before: //p' "$scratch/out.2")
  left=$(head -n 1 "$scratch/out.count")
  if [ "$before" -lt 2 ] || [ "$before" -gt "$left" ]; then
    echo "stuck before the second run: $before; $left were left"
    return 1
  fi
  grep -q '^filesystem: ok' "$scratch/out.2" || { echo "nothing else was asked"; return 1; }
  [ "$(tail -n 1 "$scratch/out.count")" -le "$left" ] || { echo "children:"; cat "$scratch/out.count"; return 1; }
}
