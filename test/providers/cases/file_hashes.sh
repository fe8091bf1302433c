# shellcheck shell=sh
# Known contents; a key for root only; a folder that leads to a dead server.

tree_file_hashes() {
  put "$1/etc/hosts" 'hello\n'
  put "$1/etc/modprobe.d/b.conf" ''
  put "$1/etc/modprobe.d/a b.conf" ''
  put "$1/etc/munge/munge.key" 'hunter2\n'
  put "$1/etc/shadow" 'hunter2\n'
  put "$1/opt/site.conf" 'hello\n'
  # shellcheck disable=SC2016 # for the stand-in
  put_tool "$scratch/hash/sha256sum" 'case " $* " in
  *slurm*) trap "" TERM; sleep 30 ;;
  *) exec '"$(command -v sha256sum)"' "$@" ;;
esac'
}

hello=5891b5b522d5df086d0ff0b110fbd9d21bb4fc7163af34d08286a2e846f6be03
empty=e3b0c44298fc1c149afbf4c8996fb92427ae41e4649b934ca495991b7852b855

test_file_hashes() {
  check "hashes: a file" gives 0 file_hashes "sha256: $hello /etc/hosts"
  check "hashes: an empty one" gives 0 file_hashes "sha256: $empty /etc/modprobe.d/b.conf"
  check "hashes: no contents, no password file" lacks file_hashes 'hello$\|hunter2\|shadow'
  shell='env FILES=/opt/site.conf'
  check "hashes: a file of the site" gives 0 file_hashes "sha256: $hello /opt/site.conf"
  shell='env FILES=opt/site.conf'
  check "hashes: a relative path" gives 0 file_hashes "skipped: not an absolute path: opt/site.conf"
  shell=
  put "$trees/file_hashes/etc/slurm/slurm.conf" 'x\n'
  shell="env ZELK_PROVIDER_PATH=$scratch/hash:/usr/sbin:/usr/bin:/sbin:/bin"
  check "hashes: a dead folder" gives 83 file_hashes "unreadable: files of slurm: no answer in 10 s"
  check "hashes: the others are there" gives 83 file_hashes "sha256: $hello /etc/hosts"
  rm -r "$trees/file_hashes/etc/slurm"
  chmod 000 "$trees/file_hashes/etc/munge/munge.key"
  shell=
  ! can_be_nobody || shell=$as_nobody
  check "hashes: a key for root only" gives 0 file_hashes \
    "unreadable: /etc/munge/munge.key: Permission denied"
  shell=
}
