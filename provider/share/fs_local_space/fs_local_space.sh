#!/bin/sh
# Room in local file systems: bytes and inodes.
#
# Only types that live on the node itself are asked; a remote one may be dead,
# and it is the same on all nodes. What can only be read is always full and left
# out, and so is what comes and goes with logins and containers.
#
# A mount point is the source of its line, so that one that gives no answer is
# known by the same name.

passing=
script_folder=
# shellcheck source=/dev/null
. "${0%/*}/../common/prologue.sh"
# shellcheck source=/dev/null
. "$script_folder/../common/filesystems.sh"
need_tools timeout sh awk stat sort cut sed grep tr xargs
need_file /proc/self/mountinfo
run_within 60

is_local='type ~ /^(ext[234]|xfs|btrfs|zfs|f2fs|jfs|reiserfs|nilfs2|bcachefs|vfat|exfat|ntfs3?|tmpfs|overlay)$/'

find_stuck
results=$(list_filesystems "$is_local && !($passing)" | probe_mounts '%S %b %f %a %c %d')
[ -n "$results" ] || not_applicable "no local file system is mounted"
# shellcheck disable=SC2016 # the dollars belong to awk
printf '%s\n' "$results" | awk '
  $1 != "ok" && $1 != "slow" {
    text = $0
    sub(/^[^ ]+ [^ ]+ [^ ]+ ?/, "", text)
    print "unreadable: " $3 ": " (text == "" ? $1 : text)
    if (text != "Permission denied") failed = 1
    next
  }
  {
    size = $4 / 1024
    line = $3 ": " $2
    line = line sprintf(" total_kib=%.0f available_kib=%.0f", $5 * size, $7 * size)
    used = $5 - $6
    if (used + $7 > 0) line = line sprintf(" available_percent=%.1f", 100 * $7 / (used + $7))
    line = line sprintf(" inodes=%.0f inodes_free=%.0f", $8, $9)
    if ($8 > 0) line = line sprintf(" inodes_free_percent=%.1f", 100 * $9 / $8)
    print line
  }
  END { exit failed ? 83 : 0 }' || incomplete "a local file system gave no answer"
finish
