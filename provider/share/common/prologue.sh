# shellcheck shell=sh
# What every provider script starts with: a known environment, the exit
# statuses, and the one way to read many small files.
#
# A node may have a dead network file system, and the environment of the user
# who started the run may point into it (LD_LIBRARY_PATH, TMPDIR, PATH, the
# working directory). Nothing a script starts may inherit that, so it is cut
# off here, with builtins only, before the first program is started.

unset IFS LD_LIBRARY_PATH LD_PRELOAD LD_AUDIT ENV BASH_ENV CDPATH TMPDIR
unset POSIXLY_CORRECT GREP_OPTIONS AWKPATH AWKLIBPATH WHINY_USERS LANGUAGE
PATH=${ZELK_PROVIDER_PATH:-/usr/sbin:/usr/bin:/sbin:/bin}
LC_ALL=C
export PATH LC_ALL
umask 077
set -u
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

# The same without empty lines and comments, for files that people write.
print_settings() {
  settings_evidence=$(print_files)
  settings_status=$?
  printf '%s\n' "$settings_evidence" | awk '!/^[^ ]*:[ \t]*(#|$)/ && $0 != ""'
  return "$settings_status"
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

# How long a tool that is asked may take, unless a script says otherwise. A tool
# that asks a daemon may wait for ever.
tool_seconds=5

# ask_tool NAME ARGUMENT...: what an optional tool says, in `tool_output`, and
# its exit status in `tool_status`. False when there is no such tool. The tool
# gets an environment of its own: variables of the user may lead to dead places.
# Tools speak of the running machine only: with a recorded tree they are left
# out, unless a test brings its own.
ask_tool() {
  tool_output=
  tool_status=127
  [ -z "$ROOT" ] || [ -n "${ZELK_PROVIDER_PATH:-}" ] || return 1
  for tool_name in timeout env "$1"; do
    command -v "$tool_name" >/dev/null 2>&1 || { missing "$tool_name"; return 1; }
  done
  tool_output=$(bounded "$tool_seconds" env -i PATH="$PATH" LC_ALL=C HOME=/ "$@")
  tool_status=$?
  case $tool_status in
    0) ;;
    124) incomplete "$1 gave no answer in $tool_seconds s" ;;
    *) printf 'failed: %s: exit status %s\n' "$1" "$tool_status" ;;
  esac
  return 0
}

# run_tool NAME ARGUMENT...: prints what an optional tool says, each line as
# "NAME: LINE".
run_tool() {
  ask_tool "$@" || return 0
  [ -z "$tool_output" ] ||
    printf '%s\n' "$tool_output" | awk -v name="$1" '{ print name ": " $0 }'
}
