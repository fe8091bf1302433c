#!/bin/sh
# Whether each mounted file system answers: ok, slow (over a second), hung (no
# answer in 5 s), or an error.
#
# Not asked are the kernel's own file systems, which cannot hang, automount
# points, which a question would mount, and what comes and goes with logins and
# containers.

kernels_own=
passing=
most_stuck=
stuck_count=
script_folder=
# shellcheck source=/dev/null
. "${0%/*}/../common/prologue.sh"
# shellcheck source=/dev/null
. "$script_folder/../common/filesystems.sh"
need_tools timeout sh awk stat sort cut sed grep tr xargs
need_file /proc/self/mountinfo
run_within 60

find_stuck
printf 'stuck.before: %s\n' "$stuck_count"
if [ "$stuck_count" -gt "$most_stuck" ]; then
  printf 'skipped: all mounts: %s questions of earlier runs still hang\n' "$stuck_count"
  stop 83 "incomplete: $stuck_count questions of earlier runs still hang"
fi

results=$(list_filesystems "!($kernels_own) && !($passing)" | probe_mounts answered)
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
