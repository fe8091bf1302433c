#!/bin/sh
# Whether each mounted file system answers: ok, slow (over a second), hung (no
# answer in 5 s), or an error.
#
# Not asked are the kernel's own file systems, which cannot hang, and automount
# points, which a question would mount.

kernels_own=
most_stuck=
# shellcheck source=/dev/null
. "${0%/*}/../common/filesystems.sh"
# shellcheck source=/dev/null
. "${0%/*}/../common/prologue.sh"
need_tools timeout awk stat sort cut sed grep cat
need_file /proc/self/mountinfo

stuck=$(stuck_children)
printf 'stuck.before: %s\n' "$stuck"
if [ "$stuck" -gt "$most_stuck" ]; then
  printf 'skipped: all mounts: %s questions of earlier runs still hang\n' "$stuck"
  stop 83 "incomplete: $stuck questions of earlier runs still hang"
fi

results=$(list_filesystems "!($kernels_own)" | probe_mounts answered)
[ -z "$results" ] || printf '%s\n' "$results" | awk '
  $1 == "error" { text = $0; sub(/^[^ ]+ [^ ]+ [^ ]+ ?/, "", text); print "filesystem: error " $2 " " $3 " " text; next }
  { print "filesystem: " $1 " " $2 " " $3 }'
printf '%s\n' "$results" | awk '
  NF { count[$1]++ }
  END {
    states = split("ok slow hung error unchecked", state, " ")
    for (i = 1; i <= states; i++) print "filesystems." state[i] ": " count[state[i]] + 0
    exit count["unchecked"] ? 1 : 0
  }' || incomplete "no time was left for some mounts"
finish
