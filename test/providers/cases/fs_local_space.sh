# shellcheck shell=sh
# A recorded table of mounts with a stand-in for `stat -f`.

stable_fs_local_space() { sed 's/ total_kib.*//'; }

tree_fs_local_space() {
  put "$1/proc/self/mountinfo" '1 1 8:1 / / rw - xfs /dev/sda1 rw
2 1 8:2 / /full\\040disk rw - ext4 /dev/sdb1 rw
3 1 0:9 / /home rw - nfs4 srv:/home rw
4 1 0:10 / /var/lib/docker/x rw - overlay overlay rw
5 1 7:0 / /snap/core ro - squashfs /dev/loop0 ro
6 1 8:3 / /btr rw - btrfs /dev/sdc rw
7 1 8:4 / /closed rw - ext4 /dev/sdd rw\n'
  put "$1-none/proc/self/mountinfo" '1 1 0:9 / / rw - nfs4 srv:/root rw\n'
  put "$1-bad/proc/self/mountinfo" '1 1 8:1 / / rw - xfs /dev/sda1 rw\n2 1 8:2 / /broken rw - ext4 /dev/sdb1 rw\n'
  mkdir -p "$1-hung"
  cp -R "$1-bad/proc" "$1-hung"
  printf '3 1 8:3 / /run/user/1000 rw - tmpfs tmpfs rw\n' >>"$1-hung/proc/self/mountinfo"
  put "$1-hung/proc/77/comm" 'stat\n'
  put "$1-hung/proc/77/status" 'State:\tD (disk sleep)\nSigPnd:\t0000000000000100\nShdPnd:\t0000000000000000\n'
  put "$1-hung/proc/77/cmdline" 'stat\0-f\0-c\0008:2 answered\0--\0/broken\0'
  # shellcheck disable=SC2016 # for the stand-in
  put_tool "$scratch/stat-space/stat" 'status=0
device=${3%%\%S*}
while [ "$1" != -- ]; do shift; done
shift
for path in "$@"; do
  case $path in
    /) echo "${device}4096 1000000 400000 400000 5000 4000" ;;
    "/full disk") echo "${device}4096 1000000 50000 0 0 0" ;;
    /btr) echo "${device}4096 9000000000000 8000000000000 8000000000000 0 0" ;;
    /closed) echo "stat: cannot read file system information for '\''/closed'\'': Permission denied" >&2; status=1 ;;
    *) echo "stat: $path: Input/output error" >&2; status=1 ;;
  esac
done
exit "$status"'
}

test_fs_local_space() {
  shell="env ZELK_PROVIDER_PATH=$scratch/stat-space:/usr/sbin:/usr/bin:/sbin:/bin"
  check "space: bytes and inodes" gives 0 fs_local_space \
    "/: xfs total_kib=4000000 available_kib=1600000 available_percent=40.0 inodes=5000 inodes_free=4000 inodes_free_percent=80.0"
  check "space: reserved for root is not available" gives 0 fs_local_space \
    '/full\040disk: ext4 total_kib=4000000 available_kib=0 available_percent=0.0 inodes=0 inodes_free=0'
  check "space: 36 PB" gives 0 fs_local_space \
    "/btr: btrfs total_kib=36000000000000 available_kib=32000000000000 available_percent=88.9 inodes=0 inodes_free=0"
  check "space: remote, read-only and container file systems are left out" \
    lacks fs_local_space 'home\|snap\|docker'
  check "space: no permission" gives 0 fs_local_space "unreadable: /closed: Permission denied"
  tree=fs_local_space-bad
  check "space: an input error is not passed over" gives 83 fs_local_space "unreadable: /broken: Input/output error"
  tree=fs_local_space-hung
  check "space: a mount that hangs is named, and not asked again" gives_quickly 83 fs_local_space \
    "unreadable: /broken: hung"
  check "space: the others are there" gives 83 fs_local_space \
    "/: xfs total_kib=4000000 available_kib=1600000 available_percent=40.0 inodes=5000 inodes_free=4000 inodes_free_percent=80.0"
  check "space: what comes with logins is left out" lacks fs_local_space 'run/user'
  tree=fs_local_space-none
  check "space: a node without local file systems" gives 80 fs_local_space
  shell=
}
