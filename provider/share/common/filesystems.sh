# shellcheck shell=sh
# Asking file systems that may be dead how they are.
#
# A question to a mount whose server or disk is gone may never return, and its
# process cannot always be killed. So every question is put by a child that can
# be left behind (`bounded`). A child for each of 10,000 mounts would be too
# slow, so a child first asks for many, one after the other, and has 1 s for it;
# only when that fails do they get a child each and 5 s, many at the same time.

mounts_in_a_row=250
batch_seconds=1
mounts_at_once=50
mount_seconds=5
# The whole thing ends before the provider's own time-out.
all_seconds=30

# list_filesystems AWK-CONDITION: the mounts that fulfil it (on type, point), as
# "TYPE POINT" in the kernel's order. A mount that a later one hides is left out,
# and a file system is there once: a bind mount shows the same one again. POINT
# is written as the kernel writes it, with \040 for a blank, so it is a word.
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
        print types[i], points[i]
      }
    }' "$ROOT/proc/self/mountinfo"
}

# What the kernel makes up by itself, and automount points, which would start a
# mount when asked.
# shellcheck disable=SC2034 # used by others
kernels_own='type ~ /^(proc|sysfs|cgroup2?|devpts|devtmpfs|mqueue|debugfs|tracefs|securityfs|bpf|pstore|configfs|fusectl|hugetlbfs|rpc_pipefs|nfsd|binfmt_misc|autofs|nsfs|efivarfs|selinuxfs|ramfs|resctrl|sockfs|pipefs|bdev)$/'

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

hundredths() { read -r uptime _ </proc/uptime && echo "${uptime%.*}${uptime#*.}"; }

# probe_mounts FORMAT: for each "TYPE POINT" on standard input a line
# "STATE TYPE POINT [TEXT]" in the same order, where STATE is
#   ok         TEXT: what `stat -f` says in FORMAT
#   slow       the same, but it took more than a second
#   hung       no answer in 5 s
#   error      TEXT: the reason
#   unchecked  no time was left
probe_mounts() {
  probe_format=$1
  probe_end=$(($(hundredths) + all_seconds * 100))
  probe_number=0
  set --
  {
    while read -r type point; do
      set -- "$@" "$type $point"
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
    real_path "${mount#* }"
    set -- "$@" "$path"
  done
  answers=$(bounded "$batch_seconds" stat -f -c "$probe_format" -- "$@") || return 1
  printf '%s%s\n' "$mounts" "$answers" | awk -v count="$#" -v number="$probe_number" '
    NR <= count { mount[NR] = $0; next }
    { answer[NR - count] = $0 }
    END {
      if (NR != 2 * count) exit 1
      for (i = 1; i <= count; i++) print number + i, "ok", mount[i], answer[i]
    }' || return 1
  probe_number=$((probe_number + $#))
}

probe_each() {
  probe_running=0
  for mount in "$@"; do
    probe_number=$((probe_number + 1))
    if [ "$probe_running" -eq 0 ] && no_time_left; then
      printf '%s unchecked %s\n' "$probe_number" "$mount"
      continue
    fi
    probe_one "$probe_number" "$mount" &
    probe_running=$((probe_running + 1))
    [ "$probe_running" -lt "$mounts_at_once" ] && continue
    wait
    probe_running=0
  done
  wait
}

probe_one() {
  real_path "${2#* }"
  probe_start=$(hundredths)
  answer=$(bounded "$mount_seconds" stat -f -c "$probe_format" -- "$path")
  case $? in
    0) state=ok ;;
    124) state=hung answer= ;;
    *) state=error answer=${answer##*: } ;;
  esac
  [ "$state" = ok ] && [ "$(($(hundredths) - probe_start))" -gt 100 ] && state=slow
  printf '%s %s %s\n' "$1" "$state" "$2${answer:+ $answer}"
}

# Children of earlier runs that still hang. Each run would add to them, until
# the machine is full; beyond this many nothing is asked.
# shellcheck disable=SC2034 # used by others
most_stuck=32
stuck_children() {
  cat "$ROOT"/proc/[0-9]*/stat 2>/dev/null | grep -c -a '^[0-9]* (stat) D '
}
