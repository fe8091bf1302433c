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
  mountinfo_line 20 1 / ext4 /dev/sda1 >"$1-stuck/proc/self/mountinfo"
  pid=100
  while [ "$pid" -lt 140 ]; do
    put "$1-stuck/proc/$pid/stat" "$pid (stat) D 1 1 1 0\\n"
    pid=$((pid + 1))
  done
  make_stat
}

# Answers as stat does: one line for each path, complaints on standard error.
make_stat() {
  # shellcheck disable=SC2016 # for the stand-in
  put_tool "$scratch/stat/stat" 'status=0
while [ "$1" != -- ]; do shift; done
shift
for path in "$@"; do
  case $path in
    /hang/*) trap "" TERM; sleep 30 ;;
    /slow) sleep 2; echo answered ;;
    /refuse) echo "stat: cannot read file system information for '\''/refuse'\'': Stale file handle" >&2; status=1 ;;
    "/mnt/two words" | "/mnt/\$(id)" | /mnt/%s | / | /covered | /home/*) echo answered ;;
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
  check "questions that hang from before" gives 83 fs_responsive "stuck.before: 40"
  check "nothing is added to them" lacks fs_responsive '^filesystem'
  shell=
  tree=
  check "a mount that never answers" leaves_stuck_child
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
# wait for the child that is left behind.
leaves_stuck_child() {
  mkdir -p "$scratch/stuck mount"
  # shellcheck disable=SC2016 # for the inner shell
  timeout 60 "$here/stuck_mount.py" "$scratch/stuck mount" \
    sh -c '"$1" 2>&1 | cat >"$2"' sh "$share/fs_responsive/fs_responsive.sh" "$scratch/out" 2>"$scratch/err"
  status=$?
  if [ "$status" -eq 77 ]; then echo "skipped: no root or no FUSE"; return 0; fi
  grep -q -F -x "filesystem: hung fuse $scratch/stuck\\040mount" "$scratch/out" ||
    { echo "status $status"; cat "$scratch/out" "$scratch/err"; return 1; }
}
