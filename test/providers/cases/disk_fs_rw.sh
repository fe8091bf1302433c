# shellcheck shell=sh
# See stream_triad.sh. What matters most is what is left behind: nothing.

statuses_disk_fs_rw="0 81 83"
seconds_disk_fs_rw=20
tools_disk_fs_rw=none
mkdir -p "$scratch/disk"
chmod 1777 "$scratch/disk"
export DISK_DIRECTORIES="$scratch/disk" DISK_SECONDS=0.3 DISK_FILE_MIB=4

# Figures move, and a phase that finds no time has none.
stable_disk_fs_rw() { sed -e '/^clock\.governor: /d' -e 's/: .*//'; }

test_disk_fs_rw() {
  if [ ! -x "$share/disk_fs_rw/disk_fs_rw_probe" ]; then
    check "disk: not built" gives 81 disk_fs_rw
    return
  fi
  tree=
  check "disk: a folder" gives 0 disk_fs_rw "disk.0.state: ok"
  check "disk: what is read is checked" gives 0 disk_fs_rw "disk.0.wrong: 0"
  check "disk: nothing is left" is_empty
  shell="env DISK_DIRECTORIES=$scratch/disk:/nowhere"
  check "disk: a folder that is not there" gives 83 disk_fs_rw \
    "disk.1.state: No such file or directory"
  check "disk: the other is measured" gives 83 disk_fs_rw "disk.0.wrong: 0"
  for wrong in DISK_DIRECTORIES=tmp DISK_SECONDS=0 DISK_FILE_MIB=x; do
    shell="env $wrong"
    check "disk: refuses $wrong" gives 2 disk_fs_rw
  done
  shell=
  for signal in TERM INT KILL; do check "disk: nothing is left after SIG$signal" tidies_up "$signal"; done
  test_disk_as_nobody
}

# A child that has lost its parent may take a moment.
is_empty() {
  turn=0
  while [ -n "$(ls -A "$scratch/disk")" ]; do
    turn=$((turn + 1))
    [ "$turn" -lt 60 ] || { ls -lAR "$scratch/disk"; return 1; }
    sleep 0.1
  done
}

# Ended in the middle of operations on names, of which it has one at a time.
tidies_up() {
  DISK_SECONDS=20 DISK_FILE_MIB=1 "$share/disk_fs_rw/disk_fs_rw.sh" >"$scratch/out" 2>&1 &
  measuring=$!
  turn=0
  while [ -z "$(ls -A "$scratch/disk")" ]; do
    turn=$((turn + 1))
    [ "$turn" -lt 300 ] || { echo "made no name in 30 s"; kill -KILL "$measuring"; return 1; }
    sleep 0.1
  done
  kill -"$1" "$measuring"
  wait "$measuring" 2>/dev/null
  is_empty
}

test_disk_as_nobody() {
  if ! can_be_nobody; then skip "disk: no permission" "not root"; return; fi
  mkdir "$scratch/closed"
  chmod 700 "$scratch/closed"
  shell="$as_nobody env DISK_DIRECTORIES=$scratch/closed"
  check "disk: a folder of somebody else" gives 83 disk_fs_rw "disk.0.state: Permission denied"
}
