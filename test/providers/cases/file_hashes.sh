# shellcheck shell=sh
# Known contents; a key for root only; files and folders that lead to a dead
# server.

tree_file_hashes() {
  put "$1/etc/hosts" 'hello\n'
  put "$1/etc/modprobe.d/b.conf" ''
  put "$1/etc/modprobe.d/a b.conf" ''
  put "$1/etc/munge/munge.key" 'hunter2\n'
  put "$1/etc/shadow" 'hunter2\n'
  put "$1/opt/site.conf" 'hello\n'
  # shellcheck disable=SC2016 # for the stand-in
  put_tool "$scratch/hash/sha256sum" 'case " $* " in
  *slurm.conf* | *dead*) trap "" TERM; sleep 30 ;;
  *) exec '"$(command -v sha256sum)"' "$@" ;;
esac'
}

hello=5891b5b522d5df086d0ff0b110fbd9d21bb4fc7163af34d08286a2e846f6be03
empty=e3b0c44298fc1c149afbf4c8996fb92427ae41e4649b934ca495991b7852b855

test_file_hashes() {
  check "hashes: a file" gives 0 file_hashes "/etc/hosts: sha256 $hello"
  check "hashes: an empty one" gives 0 file_hashes "/etc/modprobe.d/b.conf: sha256 $empty"
  check "hashes: no contents, no password file" lacks file_hashes 'hello$\|hunter2\|shadow'
  shell='env FILES=/opt/site.conf'
  check "hashes: a file of the site" gives 0 file_hashes "/opt/site.conf: sha256 $hello"
  shell='env FILES=opt/site.conf'
  check "hashes: a relative path" gives 0 file_hashes "skipped: not an absolute path: opt/site.conf"
  shell=
  put "$trees/file_hashes/etc/slurm/slurm.conf" 'x\n'
  shell="env ZELK_PROVIDER_PATH=$scratch/hash:/usr/sbin:/usr/bin:/sbin:/bin"
  check "hashes: a dead folder" gives 83 file_hashes "unreadable: /etc/slurm/slurm.conf: no answer in 5 s"
  check "hashes: the others are there" gives 83 file_hashes "/etc/hosts: sha256 $hello"
  rm -r "$trees/file_hashes/etc/slurm"
  shell="env ZELK_TIMEOUT=30 ZELK_PROVIDER_PATH=$scratch/hash:/usr/sbin:/usr/bin:/sbin:/bin"
  check "hashes: many dead files of the site end before the time-out" gives_up_dead_files
  shell="env FILES=/opt/none"
  check "hashes: a file of the site that is not there" gives 0 file_hashes "missing: /opt/none"
  tree=
  check "hashes: links to a mount that never answers" hashes_beside_stuck_mount
  tree=file_hashes
  chmod 000 "$trees/file_hashes/etc/munge/munge.key"
  shell=
  ! can_be_nobody || shell=$as_nobody
  check "hashes: a key for root only" gives 0 file_hashes \
    "unreadable: /etc/munge/munge.key: Permission denied"
  chmod 700 "$trees/file_hashes/etc/munge" "$trees/file_hashes/etc/modprobe.d"
  if can_be_nobody; then
    check "hashes: a key in a folder for root only" gives 0 file_hashes \
      "unreadable: /etc/munge/munge.key: Permission denied"
    check "hashes: a folder for root only" gives 0 file_hashes \
      "unreadable: /etc/modprobe.d: Permission denied"
  fi
  shell=
}

# Each is named on one line, whether it was asked or not.
gives_up_dead_files() {
  FILES='/a/dead /b/dead /c/dead /d/dead /e/dead /f/dead /opt/site.conf'
  export FILES
  run file_hashes
  unset FILES
  [ "$status" -eq 83 ] || { echo "status $status"; return 1; }
  [ "$ticks" -lt 3000 ] || { echo "took $ticks hundredths of a second"; return 1; }
  grep '^unreadable: ' "$scratch/out" | sed 's/:[^:]*$//' >"$scratch/names"
  printf 'unreadable: %s\n' /a/dead /b/dead /c/dead /d/dead /e/dead /f/dead |
    diff - "$scratch/names" || return 1
  grep -q -F -x "/opt/site.conf: sha256 $hello" "$scratch/out" || { echo "lacks the last"; return 1; }
  ! grep -q 'failed\|Terminated' "$scratch/out"
}

# The one file is named, those before and after it in the same folder are read.
hashes_beside_stuck_mount() {
  links="$scratch/linked tree"
  mkdir -p "$scratch/stuck"
  put_each 'hello\n' "$links/etc/modprobe.d/a.conf" "$links/etc/modprobe.d/c.conf"
  ln -s "$scratch/stuck/x" "$links/etc/modprobe.d/b.conf"
  timeout 60 "$here/stuck_mount.py" "$scratch/stuck" env "ZELK_PROVIDER_ROOT=$links" \
    "$share/file_hashes/file_hashes.sh" >"$scratch/out" 2>"$scratch/err"
  status=$?
  if [ "$status" -eq 77 ]; then echo "skipped: no root or no FUSE"; return 0; fi
  for line in "/etc/modprobe.d/a.conf: sha256 $hello" "/etc/modprobe.d/c.conf: sha256 $hello" \
    "unreadable: /etc/modprobe.d/b.conf: no answer in 5 s"; do
    grep -q -F -x "$line" "$scratch/out" || { echo "status $status"; cat "$scratch/out"; return 1; }
  done
  [ "$status" -eq 83 ] || { echo "status $status"; return 1; }
}
