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

# run_tool NAME ARGUMENT...: prints what an optional tool says, each line as
# "NAME: LINE". A tool that asks a daemon may wait for ever, so it gets 5 s.
# Tools speak of the running machine only: with a recorded tree they are left
# out, unless a test brings its own.
run_tool() {
  [ -z "$ROOT" ] || [ -n "${ZELK_PROVIDER_PATH:-}" ] || return 0
  for tool_name in timeout "$1"; do
    command -v "$tool_name" >/dev/null 2>&1 || { missing "$tool_name"; return 0; }
  done
  tool_output=$(timeout -k 1 5 "$@" 2>&1)
  tool_status=$?
  case $tool_status in
    0) ;;
    124 | 137) incomplete "$1 gave no answer in 5 s" ;;
    *) printf 'failed: %s: exit status %s\n' "$1" "$tool_status" ;;
  esac
  [ -z "$tool_output" ] ||
    printf '%s\n' "$tool_output" | awk -v name="$1" '{ print name ": " $0 }'
}
