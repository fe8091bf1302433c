#!/bin/sh
# Tasks by state; those that wait in the kernel and do not get on (state D), with
# the place where they wait; and children that nobody collects (zombies).
#
# A task in state D at one moment is normal. So those that are found are looked
# at a second time, a second later: one is stuck that is still in D and was not
# scheduled in between. Command lines are not read, which can hang itself.

# shellcheck source=/dev/null
. "${0%/*}/../common/prologue.sh"
need_tools xargs cat grep awk sort sleep id
[ -d "$ROOT/proc/self" ] || not_applicable "/proc is not on this machine"

# Where /proc hides other users' processes, root sees more.
printf 'uid: %s\n' "$(id -u)"

# Tasks end while they are listed, so files that are gone are no error. A name
# may hold anything but a line's end, hence the last parenthesis.
# shellcheck disable=SC2016 # the dollars belong to awk
tasks=$(
  printf '%s\0' "$ROOT"/proc/[0-9]*/task/[0-9]*/stat |
    xargs -0 cat 2>/dev/null | awk '
    {
      open = index($0, "(")
      close_at = open
      rest = substr($0, open)
      while ((at = index(rest, ")")) > 0) { close_at += at; rest = substr(rest, at + 1) }
      name = substr($0, open + 1, close_at - open - 2)
      gsub(/[ \t]/, "_", name)
      split(substr($0, close_at + 1), field, " ")
      print field[1], $1, field[2], name
    }'
)
[ -n "$tasks" ] || incomplete "no task could be read"

# shellcheck disable=SC2016 # the dollars belong to awk
printf '%s\n' "$tasks" | awk '
  NF < 4 { next }
  { total++; count[$1]++ }
  $1 == "Z" { zombies[$4]++ }
  END {
    print "tasks.total: " total + 0
    print "tasks.running: " count["R"] + 0
    print "tasks.sleeping: " count["S"] + count["I"]
    print "tasks.uninterruptible: " count["D"] + 0
    print "tasks.stopped: " count["T"] + count["t"]
    print "tasks.zombies: " count["Z"] + 0
    for (name in zombies) print "zombie: " zombies[name] " x " name
  }' | sort

# look_at TASK...: "TASK STATE SWITCHES" for each, a number that grows whenever
# the task is given a processor.
# shellcheck disable=SC2016 # the dollars belong to awk
look_at() {
  for task in "$@"; do
    list_present "$ROOT/proc/$task/status"
  done | xargs -0 grep -a -E '^(Pid|State|voluntary_ctxt_switches):' /dev/null 2>/dev/null | awk '
    { sub(/^.*status:/, "") }
    $1 == "Pid:" { pid = $2 }
    $1 == "State:" { state = $2 }
    $1 == "voluntary_ctxt_switches:" { print pid, state, $2 }'
}

waiting=$(printf '%s\n' "$tasks" | awk '$1 == "D" { print $2 }')
stuck=
if [ -n "$waiting" ]; then
  # shellcheck disable=SC2086 # numbers
  first_look=$(look_at $waiting)
  sleep 1
  # shellcheck disable=SC2086 # numbers
  stuck=$({ printf '%s\n' "$first_look" && look_at $waiting; } |
    awk '$2 == "D" && seen[$0]++ { print $1 }' | sort -n)
fi
# The place is a name for root only; for others it is 0.
for task in $stuck; do
  place='?'
  [ -r "$ROOT/proc/$task/wchan" ] && read -r place <"$ROOT/proc/$task/wchan"
  printf '%s\n' "$tasks" | awk -v task="$task" -v place="${place:-?}" '
    $2 == task { print "stuck: " $4 " in " place " (" task ")"; exit }'
done
# shellcheck disable=SC2086 # numbers
set -- $stuck
printf 'tasks.stuck: %s\n' "$#"
list_present "$ROOT/proc/sys/kernel/hung_task_detect_count" | print_files ||
  incomplete hung_task_detect_count
finish
