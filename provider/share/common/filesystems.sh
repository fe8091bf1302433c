# shellcheck shell=sh
# Asking file systems that may be dead how they are.
#
# A question to a mount whose server or disk is gone may never return, and its
# process cannot always be killed. So every question is put by a child that can
# be left behind (`bounded`). A child for each of 10,000 mounts would be too
# slow, so a child first asks for many, one after the other, and has 1 s for it;
# only when that fails do they get a child each and 5 s, many at the same time.
#
# A child that is still there when the next run comes says that its mount is as
# dead as before: that one is not asked again, or each run would leave more of
# them behind.

mounts_in_a_row=250
batch_seconds=1
mounts_at_once=50
mount_seconds=5
# The whole thing ends before the provider's own time-out.
all_seconds=30

# list_filesystems AWK-CONDITION: the mounts that fulfil it (on type, point), as
# "DEVICE TYPE POINT" in the kernel's order. A mount that a later one hides is
# left out, and a file system is there once: a bind mount shows the same one
# again. POINT is written as the kernel writes it, with \040 for a blank, so it is
# a word.
list_filesystems() {
  awk '
    {
      device[NR] = $3
      point = points[NR] = $5
      for (i = 7; i <= NF && $i != "-"; i++);
      type = types[NR] = $(i + 1)
      visible[point] = NR
    }
    '"$1"' { wanted[NR] }
    END {
      for (i = 1; i <= NR; i++) {
        if (!(i in wanted) || visible[points[i]] != i || device[i] in seen) continue
        seen[device[i]]
        print device[i], types[i], points[i]
      }
    }' "$ROOT/proc/self/mountinfo"
}

# What the kernel makes up by itself, and automount points, which would start a
# mount when asked.
# shellcheck disable=SC2034 # used by others
kernels_own='type ~ /^(proc|sysfs|cgroup2?|devpts|devtmpfs|mqueue|debugfs|tracefs|securityfs|bpf|pstore|configfs|fusectl|hugetlbfs|rpc_pipefs|nfsd|binfmt_misc|autofs|nsfs|efivarfs|selinuxfs|ramfs|resctrl|sockfs|pipefs|bdev)$/'

# What comes and goes with logins, containers and their like, and tells nothing
# about the node.
# shellcheck disable=SC2034 # used by others
passing='point ~ /^\/run\/(user|credentials|containerd|docker|netns|runc|crun|snapd|podman|libpod)\// ||
  point ~ /^\/var\/lib\/(docker|containers|containerd|kubelet|rancher|lxc|lxd|incus|snapd|cni|machines|apptainer|singularity)\// ||
  point ~ /^\/snap\// || (type ~ /overlay/ && point != "/")'

# real_path POINT: sets `path`, the octal escapes undone.
real_path() {
  path=$1
  case $path in
    *\\*)
      path_format=$(printf '%s.' "$path" | sed 's/%/%%/g')
      # shellcheck disable=SC2059 # a format on purpose
      path=$(printf "$path_format")
      path=${path%.}
      ;;
  esac
}

# probe_mounts FORMAT: for each "DEVICE TYPE POINT" on standard input a line
# "STATE TYPE POINT [TEXT]" in the same order, where STATE is
#   ok         TEXT: what `stat -f` says in FORMAT
#   slow       the same, but it took more than a second
#   hung       no answer in 5 s, or to a question of an earlier run
#   error      TEXT: the reason
#   unchecked  no time was left
# find_stuck comes first.
probe_mounts() {
  probe_format=$1
  probe_end=$(($(hundredths) + all_seconds * 100))
  # Of the script's own time, what the last ones may take.
  # shellcheck disable=SC2154 # set by run_within
  probe_last=$((time_over - mount_seconds * 100 - 200))
  [ "$probe_end" -lt "$probe_last" ] || probe_end=$probe_last
  probe_number=0
  set --
  {
    while read -r device type point; do
      probe_number=$((probe_number + 1))
      case $stuck_devices in
        *" $device "*)
          printf '%s hung %s %s\n' "$probe_number" "$type" "$point"
          continue
          ;;
      esac
      set -- "$@" "$probe_number $device $type $point"
      [ $# -lt "$mounts_in_a_row" ] && continue
      probe_batch "$@"
      set --
    done
    [ $# -eq 0 ] || probe_batch "$@"
  } | sort -n | cut -d' ' -f2-
}

no_time_left() { [ "$(hundredths)" -gt "$probe_end" ]; }

probe_batch() {
  if no_time_left || ! probe_together "$@"; then probe_each "$@"; fi
}

# True when every mount of the batch has answered.
probe_together() {
  newline='
'
  mounts=
  for mount in "$@"; do
    mounts="$mounts$mount$newline"
    shift
    real_path "${mount##* }"
    set -- "$@" "$path"
  done
  answers=$(bounded "$batch_seconds" stat -f -c "$probe_format" -- "$@") || return 1
  printf '%s%s\n' "$mounts" "$answers" | awk -v count="$#" '
    NR <= count { number[NR] = $1; mount[NR] = $3 " " $4; next }
    { answer[NR - count] = $0 }
    END {
      if (NR != 2 * count) exit 1
      for (i = 1; i <= count; i++) print number[i], "ok", mount[i], answer[i]
    }'
}

probe_each() {
  probe_running=0
  for mount in "$@"; do
    if [ "$probe_running" -eq 0 ] && no_time_left; then
      printf '%s unchecked %s\n' "${mount%% *}" "${mount#* * }"
      continue
    fi
    # shellcheck disable=SC2086 # words: NUMBER DEVICE TYPE POINT
    probe_one $mount &
    probe_running=$((probe_running + 1))
    [ "$probe_running" -lt "$mounts_at_once" ] && continue
    wait
    probe_running=0
  done
  wait
}

# The device stands in the child's command line, for find_stuck of the next run.
# probe_one NUMBER DEVICE TYPE POINT
probe_one() {
  real_path "$4"
  probe_start=$(hundredths)
  answer=$(bounded "$mount_seconds" stat -f -c "$2 $probe_format" -- "$path")
  case $? in
    0) state=ok answer=${answer#* } ;;
    124) state=hung answer= ;;
    *) state=error answer=${answer##*: } ;;
  esac
  [ "$state" = ok ] && [ "$(($(hundredths) - probe_start))" -gt 100 ] && state=slow
  printf '%s %s %s %s%s\n' "$1" "$state" "$3" "$4" "${answer:+ $answer}"
}

# Nothing is asked when more children than this are left behind.
# shellcheck disable=SC2034 # used by others
most_stuck=1000

# find_stuck: sets `stuck_count`, the number of children of earlier runs that
# cannot be killed, and `stuck_devices`, those that they wait for. Such a child
# is this user's own, is called `stat`, waits in the kernel, and has a signal KILL
# to come. Only then is its command line read: that of a process that somebody
# else made may say anything, and wait for ever. A device keeps its number as
# long as somebody waits for it, so a new mount at the same place is another one.
# shellcheck disable=SC2016 # the dollars belong to awk and to the child
find_stuck() {
  stuck_devices=' '
  set --
  for stuck_process in $(
    printf '%s\0' "$ROOT"/proc/[0-9]*/comm | xargs -0 grep -l -x -a stat /dev/null 2>/dev/null |
      awk -v skip="${#ROOT}" '{ split(substr($0, skip + 1), part, "/"); print part[3] }'
  ); do
    [ -O "$ROOT/proc/$stuck_process" ] && is_killed "$stuck_process" &&
      set -- "$@" "$ROOT/proc/$stuck_process/cmdline"
  done
  # shellcheck disable=SC2034 # used by others
  stuck_count=$#
  [ $# -gt 0 ] || return 0
  stuck_devices=" $(bounded "$mount_seconds" sh -c '
    for file do tr "\000\n" "  " <"$file"; echo; done' sh "$@" | awk '
    $1 ~ /^([^ ]*\/)?stat$/ && $2 == "-f" && $3 == "-c" && $4 ~ /^[0-9]+:[0-9]+$/ { printf "%s ", $4 }')"
}

# The lines of the file are made by the kernel, which escapes the name.
# shellcheck disable=SC2016 # the dollars belong to awk
is_killed() {
  grep -a -E '^(State|SigPnd|ShdPnd):' "$ROOT/proc/$1/status" 2>/dev/null | awk '
    $1 == "State:" && $2 == "D" { waits = 1 }
    $1 != "State:" && substr($2, length($2) - 2, 1) ~ /[13579bdf]/ { killed = 1 }
    END { exit !(waits && killed) }'
}
