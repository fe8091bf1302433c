#!/bin/sh
# Tasks by state; those that wait in the kernel and do not get on (state D), with
# the place where they wait; and children that nobody collects (zombies).
#
# A task in state D at one moment is normal. So those that are found are looked
# at again, a second later and then STUCK_SECONDS after the first time (10; at
# most 40): one hangs that is still in state D and was not scheduled in between.
# How long it has been waiting the kernel does not tell, only that it cannot be
# longer than the task has been there. So one is stuck when it has been there for
# a minute, or when it was killed and is still there; else it only waits.
#
# A parent that waits for its child to start a program (vfork) is in state D too,
# for as long as the child likes. It is none of them.
#
# Command lines are not read, which can hang itself.

stuck_seconds=${STUCK_SECONDS:-10}
# shellcheck source=/dev/null
. "${0%/*}/../common/prologue.sh"
need_tools xargs grep awk sort sleep id tr
case $stuck_seconds in
  [1-9] | [1-3][0-9] | 40) ;;
  *) stop 2 "STUCK_SECONDS: a number from 1 to 40" ;;
esac
[ -d "$ROOT/proc/self" ] || not_applicable "/proc is not on this machine"
# Every machine has a first process, and hidepid hides it with the others.
[ -r "$ROOT/proc/1/status" ] || no_permission "/proc hides the processes of others"

# Root sees more: the place where a task waits.
printf 'uid: %s\n' "$(id -u)"

# Tasks end while they are listed, so files that are gone are no error. In this
# file the kernel escapes the line ends of names; in others it does not.
# shellcheck disable=SC2016 # the dollars belong to awk
tasks=$(
  printf '%s\0' "$ROOT"/proc/[0-9]*/task/[0-9]*/status |
    xargs -0 grep -h -a -E '^(Name|State|Tgid|Pid|PPid):' /dev/null 2>/dev/null | awk '
    $1 == "Name:" { name = $0; sub(/^Name:[ \t]*/, "", name); gsub(/[ \t]/, "_", name) }
    $1 == "State:" { state = $2 }
    $1 == "Tgid:" { process = $2 }
    $1 == "Pid:" { task = $2 }
    $1 == "PPid:" { print state, task, process, $2, name }'
)
[ -n "$tasks" ] || incomplete "no task could be read"

# shellcheck disable=SC2016 # the dollars belong to awk
printf '%s\n' "$tasks" | awk '
  NF < 4 { next }
  { total++; count[$1]++ }
  $1 == "Z" { zombies[$5]++ }
  END {
    print "tasks.total: " total + 0
    print "tasks.running: " count["R"] + 0
    print "tasks.sleeping: " count["S"] + count["I"]
    print "tasks.uninterruptible: " count["D"] + 0
    print "tasks.stopped: " count["T"] + count["t"]
    print "tasks.zombies: " count["Z"] + 0
    for (name in zombies) print "zombie: " zombies[name] " x " name
  }' | sort

# look_at TASK...: "TASK SWITCHES KILLED" for those that are in state D, where
# the second is a number that grows whenever the task is given a processor.
# shellcheck disable=SC2016 # the dollars belong to awk
look_at() {
  for task in "$@"; do
    printf '%s\0' "$ROOT/proc/$task/status"
  done | xargs -0 grep -h -a -E '^(Pid|State|SigPnd|ShdPnd|voluntary_ctxt_switches):' /dev/null \
    2>/dev/null | awk '
    $1 == "State:" { state = $2; killed = 0 }
    $1 == "Pid:" { pid = $2 }
    $1 ~ /Pnd:$/ && substr($2, length($2) - 2, 1) ~ /[13579bdf]/ { killed = 1 }
    $1 == "voluntary_ctxt_switches:" && state == "D" { print pid, $2, killed }'
}

# wait_on SECONDS: of `looks`, leaves those that have waited all the time.
# shellcheck disable=SC2046,SC2086 # numbers
wait_on() {
  [ -n "$looks" ] || return 0
  sleep "$1"
  set -- $(printf '%s\n' "$looks" | awk '{ print $1 }')
  looks=$({ printf '%s\n' "$looks" && look_at "$@"; } | awk 'seen[$1 " " $2]++' | sort -n)
}

# shellcheck disable=SC2046 # numbers
set -- $(printf '%s\n' "$tasks" | awk '$1 == "D" { print $2 }')
looks=
[ $# -eq 0 ] || looks=$(look_at "$@")
wait_on 1
[ "$stuck_seconds" -eq 1 ] || wait_on "$((stuck_seconds - 1))"

# stat_fields TASK: flags, starting time and size of memory. A name may hold
# anything, hence the last parenthesis.
# shellcheck disable=SC2016 # the dollars belong to awk
stat_fields() {
  { tr '\n' ' ' <"$ROOT/proc/$1/stat"; } 2>/dev/null | awk '
    { sub(/^.*\)/, ""); print $7, $20, $21 }'
}

# Root sees the place by its name, others see 0. Then a child that has not
# started a program since it was made (a flag) and has the parent's memory tells.
waits_for_child() {
  case $place in
    kernel_clone | *do_fork | *vfork*) return 0 ;;
    0 | '?') ;;
    *) return 1 ;;
  esac
  for child in $(printf '%s\n' "$tasks" | awk -v parent="$1" '
    $2 == parent { process = $3 }
    { parents[$2] = $4 }
    END { for (task in parents) if (parents[task] == process) print task }'); do
    { stat_fields "$1"; stat_fields "$child"; } | awk '
      NR == 1 { size = $3 }
      NR == 2 { exit !(int($1 / 64) % 2 == 1 && $3 == size) }
      END { if (NR < 2) exit 1 }' && return 0
  done
  return 1
}

uptime=
[ ! -r "$ROOT/proc/uptime" ] || read -r uptime _ <"$ROOT/proc/uptime"
is_old() {
  [ -n "$uptime" ] || return 0
  stat_fields "$1" | awk -v now="$uptime" '{ exit !(now - $2 / 100 >= 60) }'
}

stuck=0
waiting=0
for_child=0
# shellcheck disable=SC2086 # numbers
set -- $looks
while [ $# -ge 3 ]; do
  task=$1 killed=$3
  shift 3
  place='?'
  { read -r place <"$ROOT/proc/$task/wchan"; } 2>/dev/null
  place=${place:-?}
  if waits_for_child "$task"; then
    for_child=$((for_child + 1))
    continue
  elif [ "$killed" -eq 1 ] || is_old "$task"; then
    stuck=$((stuck + 1))
    word=stuck
  else
    waiting=$((waiting + 1))
    word=waiting
  fi
  printf '%s\n' "$tasks" | awk -v task="$task" -v place="$place" -v word="$word" '
    $2 == task { print word ": " $5 " in " place " (" task ")"; exit }'
done
printf 'tasks.stuck: %s\n' "$stuck"
printf 'tasks.waiting: %s\n' "$waiting"
printf 'tasks.waiting_for_child: %s\n' "$for_child"
list_present "$ROOT/proc/sys/kernel/hung_task_detect_count" | print_files ||
  incomplete hung_task_detect_count
finish
