#!/bin/sh
# Installed packages, by the package managers that are here.
#
# One line a package, in byte order: name, architecture ("-" where the manager
# tells none) and version. A package that is neither installed nor removed as a
# whole has a line of its own.

tool_output=
tool_status=
granted=
# shellcheck source=/dev/null
. "${0%/*}/../common/prologue.sh"
need_tools timeout env sh awk sort
run_within 60

# Even a look at a name may wait for ever, so a child does it. Without an answer
# each of them is asked.
known='dpkg-query rpm apk pacman'
# shellcheck disable=SC2016,SC2086 # for the child; words on purpose
managers=$(bounded 5 sh -c '
  for manager do command -v "$manager" >/dev/null 2>&1 && echo "$manager"; done
  exit 0' sh $known) || managers=$known
[ -n "$managers" ] || tool_missing "dpkg-query, rpm, apk or pacman"
# shellcheck disable=SC2086 # words on purpose
set -- $managers
managers=" $* "
managers_left=$#

# The database of a large system is read from disk, and rpm waits for a lock.
manager_seconds=20

# ask_manager AWK-PROGRAM TOOL ARGUMENT...: the program turns what the tool says
# into lines of evidence; what it does not know is a complaint of the tool.
ask_manager() {
  manager_awk=$1
  shift
  case $managers in *" $1 "*) ;; *) return 0 ;; esac
  # shellcheck disable=SC2034 # ask_tool reads it
  ! grant_seconds "$manager_seconds" "$managers_left" || tool_seconds=$granted
  managers_left=$((managers_left - 1))
  ask_tool "$@" || return 0
  [ "$tool_status" -eq 0 ] || incomplete "$1"
  # What was said until then is no list.
  [ "$tool_status" -ne 124 ] || return 0
  [ -z "$tool_output" ] ||
    printf '%s\n' "$tool_output" | awk -v tool="$1" "$manager_awk"' { print "failed: " tool ": " $0 }'
}

# dpkg's state is three letters: wanted, found, error. "rc" and "un" are traces
# of packages that are gone.
# shellcheck disable=SC2016 # the dollars belong to awk and to dpkg-query
evidence=$(
  ask_manager '
    /^package\|/ {
      split($0, part, "|")
      found = substr(part[2], 2, 1)
      sub(/ +$/, "", part[2])
      if (found == "i") print "package: " part[3] " " part[4] " " part[5]
      else if (found !~ /[cn]/) print "package_state: " part[3] " " part[4] " " part[5] " " part[2]
      next
    }' dpkg-query -W -f 'package|${db:Status-Abbrev}|${Package}|${Architecture}|${Version}|\n'
  ask_manager '
    /^package\|/ {
      split($0, part, "|")
      sub(/^\(none\)$/, "-", part[3])
      print "package: " part[2] " " part[3] " " part[4]
      next
    }' rpm -qa --qf 'package|%{NAME}|%{ARCH}|%|EPOCH?{%{EPOCH}:}:{}|%{VERSION}-%{RELEASE}|\n'
  ask_manager '
    match($0, /^[^ ]+-[^- ]+-r[0-9]+$/) {
      count = split($0, part, "-")
      version = part[count - 1] "-" part[count]
      print "package: " substr($0, 1, length($0) - length(version) - 1) " - " version
      next
    }' apk info -v
  ask_manager 'NF == 2 { print "package: " $1 " - " $2; next }' pacman -Q
  [ -z "$incomplete_reason" ] || exit 83
) || incomplete "a package manager gave no full answer"

[ -z "$evidence" ] || printf '%s\n' "$evidence" | sort
if [ -n "$incomplete_reason" ]; then
  printf 'unreadable: packages.count: %s\n' "$incomplete_reason"
else
  printf '%s\n' "$evidence" | awk '/^package: / { count++ } END { print "packages.count: " count + 0 }'
fi
finish
