# shellcheck shell=sh
# What every provider script starts with: a known environment, the exit
# statuses, the time that is left, and the ways to read files and to ask tools.
#
# A node may have a dead network file system, and the environment of the user
# who started the run may point into it (LD_LIBRARY_PATH, TMPDIR, PATH, the
# working directory). Nothing a script starts may inherit that, so it is cut
# off here, with builtins only, before the first program is started. A script
# reads this file before any other of this folder.

# bash takes options and functions from its environment as well. A function may
# be called like a builtin, except for the special ones in POSIX mode, which
# this assignment begins.
POSIXLY_CORRECT=1
set +abCefmuvx
unset IFS LD_LIBRARY_PATH LD_PRELOAD LD_AUDIT LD_DEBUG LD_DEBUG_OUTPUT LD_PROFILE
unset LD_PROFILE_OUTPUT LD_SHOW_AUXV LD_TRACE_LOADED_OBJECTS GLIBC_TUNABLES
unset ENV BASH_ENV CDPATH TMPDIR GLOBIGNORE FUNCNEST BASH_COMPAT BASH_XTRACEFD
unset GREP_OPTIONS GREP_COLORS AWKPATH AWKLIBPATH WHINY_USERS LANGUAGE
unset GCONV_PATH GETCONF_DIR LOCPATH NLSPATH TZ TZDIR _POSIX2_VERSION
PATH=${ZELK_PROVIDER_PATH:-/usr/sbin:/usr/bin:/sbin:/bin}
LC_ALL=C
export PATH LC_ALL
case ${BASH_VERSION-} in
  ?*)
    # The variable is anybody's, the array is bash's.
    if (eval ': "${BASH_VERSINFO[4]:?}"') 2>/dev/null; then
      unset -f unset declare builtin shopt
      unset POSIXLY_CORRECT
      # Names of functions may be patterns. Lines are "declare -fx NAME".
      set -f
      # shellcheck disable=SC3044
      for imported in $(declare -Fx); do
        case $imported in declare | -*) ;; *) unset -f "$imported" ;; esac
      done
      # shellcheck disable=SC3040,SC3041
      set +fkt +o pipefail
      # shellcheck disable=SC3044
      shopt -u nullglob failglob dotglob globstar nocaseglob nocasematch extglob \
        xpg_echo lastpipe 2>/dev/null
      # shellcheck disable=SC3045
      export -n SHELLOPTS BASHOPTS
    fi
    ;;
esac
unset POSIXLY_CORRECT
umask 077
set -u

# The script's own folder, also when it was called by a relative path.
script_folder=${0%/*}
case $script_folder in
  /*) ;;
  *) script_folder=${PWD:-}/$script_folder ;;
esac
cd /
exec </dev/null

# In front of /proc, /sys and /etc: empty on a node, the root of a recorded
# tree in tests. Option sets cannot set variables that begin with ZELK_.
ROOT=${ZELK_PROVIDER_ROOT:-}

# The statuses lie above those of sysexits.h (64 to 78), which a tool may use
# itself, and below those of the shell (124 and more).
stop() {
  printf '%s: %s\n' "${0##*/}" "$2" >&2
  exit "$1"
}
not_applicable() { stop 80 "not applicable: $1"; }
tool_missing() { stop 81 "tool missing: $1"; }
no_permission() { stop 82 "no permission: $1"; }

# Remembers that something a plain user can normally read was not read; the
# first reason is the one reported.
incomplete_reason=
incomplete() { incomplete_reason=${incomplete_reason:-$1}; }

finish() {
  [ -z "$incomplete_reason" ] || stop 83 "incomplete: $incomplete_reason"
  exit 0
}

need_tools() {
  for tool_name in "$@"; do
    command -v "$tool_name" >/dev/null 2>&1 || tool_missing "$tool_name"
  done
}

# Ends the script when the machine has no `$1`, or keeps it from this user.
need_file() {
  [ -e "$ROOT$1" ] || not_applicable "$1 is not on this machine"
  [ -r "$ROOT$1" ] || no_permission "$1"
}

# Says in the evidence that the machine lacks something others have.
missing() { printf 'missing: %s\n' "$1"; }

# A line whose first word ends in a colon is its source; what follows the blank
# is the text as it was read. Errors of grep start with its name where lines of
# files start with a path. Some files refuse in normal operation (the speed of
# a link that is down, a file for root only): a line in the evidence says so.
# Any other error makes the reading incomplete, status 83.
# shellcheck disable=SC2016 # the dollars belong to awk
print_files_awk='
  /^grep: / {
    path = substr($0, skip + 7)
    message = path
    while ((colon = index(message, ": ")) > 0) message = substr(message, colon + 2)
    path = substr(path, 1, length(path) - length(message) - 2)
    print "unreadable: " path ": " message
    if (message !~ normal) failed = 1
    next
  }
  {
    line = substr($0, skip + 1)
    colon = index(line, ":")
    print substr(line, 1, colon - 1) ": " substr(line, colon + 1)
  }
  END { exit failed ? 83 : 0 }'

normal_refusals='^(Permission denied|Operation not permitted|Invalid argument'
normal_refusals="$normal_refusals|Operation not supported|No such file or directory"
normal_refusals="$normal_refusals|No such device|No data available)\$"

# Prints the files whose paths (each ended by a NUL) are on standard input, a
# line of theirs as "PATH: LINE", in the order given. Every file is read once
# and whole, by a number of processes that does not grow with the number of
# files. The shell's own `read` cannot do this: it asks byte by byte, and files
# under /proc/sys answer the first byte only. awk cannot either: mawk ends at
# the first file that refuses to be read.
print_files() {
  xargs -0 grep -a '' /dev/null 2>&1 |
    awk -v skip="${#ROOT}" -v normal="$normal_refusals" "$print_files_awk"
}

# Prints those of the paths that are there, each ended by a NUL, for
# print_files. A pattern that matched nothing is such a path that is not there.
list_present() {
  for present_path in "$@"; do
    [ -e "$present_path" ] && printf '%s\0' "$present_path"
  done
  return 0
}

# list_numbered PREFIX FILE...: the same for PREFIX0/FILE, PREFIX1/FILE, ...,
# in the order of the numbers, where a plain pattern puts 10 before 2.
list_numbered() {
  numbered_prefix=$1
  shift
  for numbered_dir in "$numbered_prefix"[0-9] "$numbered_prefix"[0-9][0-9] \
    "$numbered_prefix"[0-9][0-9][0-9] "$numbered_prefix"[0-9][0-9][0-9][0-9] \
    "$numbered_prefix"[0-9][0-9][0-9][0-9][0-9]; do
    [ -d "$numbered_dir" ] || continue
    for numbered_file in "$@"; do
      [ -e "$numbered_dir/$numbered_file" ] &&
        printf '%s\0' "$numbered_dir/$numbered_file"
    done
  done
  return 0
}

# The time since the system was started, in hundredths of a second.
hundredths() { read -r uptime _ </proc/uptime && echo "${uptime%.*}${uptime#*.}"; }

# run_within SECONDS: what this script asks ends well before its time-out, that
# of the description unless the worker tells another. Who is stopped by the
# time-out loses everything; who stops asking loses what was not asked. A quarter
# is left for what cannot be ended on the second.
time_over=
run_within() {
  run_limit=$1
  case ${ZELK_TIMEOUT:-} in
    '' | 0* | *[!0-9]* | ???????*) ;;
    *) run_limit=$ZELK_TIMEOUT ;;
  esac
  time_over=$(($(hundredths) + run_limit * 75))
}
[ -z "${ZELK_TIMEOUT:-}" ] || run_within 60

# grant_seconds WANTED [SHARES]: sets `granted` to the seconds that may be spent:
# those wanted, or what is left for one of so many, but not less than 2 as long as
# there are 2. False when nothing is left.
grant_seconds() {
  granted=$1
  [ -n "$time_over" ] || return 0
  seconds_left=$(((time_over - $(hundredths)) / 100))
  [ "$seconds_left" -gt 0 ] || return 1
  time_share=$((seconds_left / ${2:-1}))
  [ "$time_share" -ge 2 ] || time_share=2
  [ "$time_share" -le "$seconds_left" ] || time_share=$seconds_left
  [ "$granted" -le "$time_share" ] || granted=$time_share
}

# bounded SECONDS COMMAND ARGUMENT...: prints what a command says on both
# streams and returns its exit status, or 124 when it did not end in time.
#
# A command that waits in the kernel for a dead disk or server cannot be killed,
# and `timeout` may then wait with it. So both run in the background of a
# subshell; what the limit ends in any case is the reader of their words, and a
# subshell that is still waiting then is told to leave them behind.
# shellcheck disable=SC2016 # the dollars belong to awk
bounded_awk='
  match($0, /\001ended [0-9]+$/) {
    if (RSTART > 1) print substr($0, 1, RSTART - 1)
    ended = 1
    status = substr($0, RSTART + 7) + 0
    exit
  }
  { print }
  END { exit ended ? status : 124 }'
bounded() {
  bounded_limit=$1
  shift
  {
    read -r subshell _ </proc/self/stat
    printf '%s\n' "$subshell"
    trap 'exit 0' TERM
    {
      timeout -k 1 "$bounded_limit" "$@"
      printf '\001ended %s\n' "$?"
    } 2>&1 &
    wait
  } | (
    read -r subshell
    timeout -s KILL "$((bounded_limit + 2))" awk "$bounded_awk"
    bounded_status=$?
    [ "$bounded_status" -ne 137 ] || bounded_status=124
    [ "$bounded_status" -ne 124 ] || kill "$subshell" 2>/dev/null
    exit "$bounded_status"
  )
}

# in_turn SECONDS PROGRAM ITEM...: runs the shell program for each file that an
# item stands for, a path or a pattern below $ROOT, as $file, one after the other
# in one child. Prints for each "\003PATH" and then what the program printed; a
# file that gave no answer has "\004PATH: REASON" and nothing else, and a new
# child goes on after it.
# shellcheck disable=SC2016 # for the child
in_turn_head='
  root=$1 skip=$2
  shift 2
  IFS=
  for item do
    printf "\002\n"
    for file in $root$item; do
      if [ "$skip" -gt 0 ]; then skip=$((skip - 1)); continue; fi
      printf "\003%s\n" "${file#"$root"}"'
in_turn_tail='
    done
    skip=0
  done'
# What came before the file that hangs is whole; what came from it is not.
# shellcheck disable=SC2016 # the dollars belong to awk
in_turn_awk='
  function flush() { printf "%s", held; held = "" }
  $0 == "\002" { flush(); items++; next }
  /^\003/ { flush() }
  items { held = held $0 "\n" }
  END { if (!hung) flush() }'
# Where that was: how many items were begun, how many files of the last one, and
# the name of the file.
# shellcheck disable=SC2016 # the dollars belong to awk
in_turn_place_awk='
  $0 == "\002" { items++; files = 0; name = ""; next }
  /^\003/ { files++; name = substr($0, 2) }
  END { print items + 0, files + 0, name }'
in_turn() {
  turn_seconds=$1
  turn_program="$in_turn_head
    $2
    $in_turn_tail"
  shift 2
  turn_skip=0
  # Healthy files take no time, so it is shared out only when one has hung.
  turn_shares=1
  while [ $# -gt 0 ]; do
    if ! grant_seconds "$turn_seconds" "$turn_shares"; then
      printf '\004%s: not asked, no time was left\n' "$@"
      return
    fi
    turn_output=$(bounded "$granted" sh -c "$turn_program" sh "$ROOT" "$turn_skip" "$@")
    turn_hung=$(($? == 124))
    printf '%s\n' "$turn_output" | awk -v hung="$turn_hung" "$in_turn_awk"
    [ "$turn_hung" -eq 1 ] || return 0
    go_on_behind "$(printf '%s\n' "$turn_output" | awk "$in_turn_place_awk")" "$@"
    shift "$turn_shift"
    turn_shares=$#
  done
}

# Says what hung, and sets how many items are done, and how many files of the next.
go_on_behind() {
  turn_items=${1%% *}
  turn_files=${1#* }
  turn_name=${turn_files#* }
  turn_files=${turn_files%% *}
  shift
  turn_shift=0
  if [ "$turn_items" -gt 1 ]; then
    turn_shift=$((turn_items - 1))
    turn_skip=0
  fi
  shift "$turn_shift"
  turn_skip=$((turn_skip + turn_files))
  case $1:$turn_name in
    *\**:?*) ;;
    *)
      turn_name=$1
      turn_shift=$((turn_shift + 1))
      turn_skip=0
      ;;
  esac
  printf '\004%s: no answer in %s s\n' "$turn_name" "$granted"
}

# print_etc needed|optional FILE...: the lines of files of /etc, or of those that
# patterns stand for, as print_files prints them. Any of them may be a link into
# a file system that is dead, so even whether they are there is asked by a child.
# Of one that is needed and not there, a line says so. Status 83 when something
# was not read. Needs sh, timeout, grep, awk.
etc_seconds=5
# shellcheck disable=SC2016 # for the child
print_etc_program='
  case $file in
    *"*"*) [ -d "${file%/*}" ] && [ ! -r "${file%/*}" ] &&
      echo "grep: ${file%/*}: Permission denied" && continue ;;
  esac
  grep -a "" /dev/null "$file" 2>&1'
# shellcheck disable=SC2016 # the dollars belong to awk
print_etc_awk='
  function unreadable(path, message) {
    print "unreadable: " path ": " message
    if (message !~ normal) failed = 1
  }
  /^\003/ { path = substr($0, 2); next }
  /^\004/ { print "unreadable: " substr($0, 2); failed = 1; next }
  /^grep: / {
    message = $0
    while ((colon = index(message, ": ")) > 0) message = substr(message, colon + 2)
    if (tolower(message) !~ /^no such file/) unreadable(path, message)
    else if (needed && path !~ /\*/) print "missing: " path
    next
  }
  { print path ": " substr($0, skip + length(path) + 2) }
  END { exit failed ? 83 : 0 }'
print_etc() {
  etc_needed=
  [ "$1" = optional ] || etc_needed=1
  shift
  in_turn "$etc_seconds" "$print_etc_program" "$@" |
    awk -v skip="${#ROOT}" -v normal="$normal_refusals" -v needed="$etc_needed" "$print_etc_awk"
}

# The same without empty lines and comments, for files that people write.
print_etc_settings() {
  settings_evidence=$(print_etc "$@")
  settings_status=$?
  printf '%s\n' "$settings_evidence" | awk '!/^[^ ]*:[ \t]*(#|$)/ && $0 != ""'
  return "$settings_status"
}

# How long a tool that is asked may take, unless a script says otherwise. A tool
# that asks a daemon may wait for ever.
tool_seconds=5

# ask_tool NAME ARGUMENT...: what an optional tool says, in `tool_output`, and
# its exit status in `tool_status`. False when there is no such tool. The tool
# gets an environment of its own: variables of the user may lead to dead places.
# Tools speak of the running machine only: with a recorded tree they are left
# out, unless a test brings its own.
#
# Whether it is there is found by starting it: the name may be a link into a
# dead file system, where even a look would wait.
ask_tool() {
  tool_output=
  tool_status=127
  [ -z "$ROOT" ] || [ -n "${ZELK_PROVIDER_PATH:-}" ] || return 1
  for tool_name in timeout env; do
    command -v "$tool_name" >/dev/null 2>&1 || { missing "$tool_name"; return 1; }
  done
  if ! grant_seconds "$tool_seconds"; then
    tool_status=124
    give_up "$1" "not asked, no time was left"
    return 0
  fi
  tool_output=$(bounded "$granted" env -i PATH="$PATH" LC_ALL=C HOME=/ "$@")
  tool_status=$?
  case $tool_status in
    0) ;;
    124) give_up "$1" "no answer in $granted s" ;;
    *)
      case $tool_status:$tool_output in 127:env:*) missing "$1"; tool_output=; return 1 ;; esac
      printf 'failed: %s: exit status %s\n' "$1" "$tool_status"
      ;;
  esac
  return 0
}

# give_up NAME REASON: the facts that come from NAME are unread for this reason.
give_up() {
  printf 'unreadable: %s: %s\n' "$1" "$2"
  incomplete "$1: $2"
}

# run_tool NAME ARGUMENT...: prints what an optional tool says, each line as
# "NAME: LINE".
run_tool() {
  ask_tool "$@" || return 0
  [ -z "$tool_output" ] ||
    printf '%s\n' "$tool_output" | awk -v name="$1" '{ print name ": " $0 }'
}
