#!/bin/sh
# Installed packages, by the package managers that are here.
#
# One line a package, in byte order: name, architecture ("-" where the manager
# tells none) and version. A package that is neither installed nor removed as a
# whole has a line of its own.

tool_output=
tool_status=
# shellcheck source=/dev/null
. "${0%/*}/../common/prologue.sh"
need_tools timeout env awk sort
has_manager() {
  for manager in dpkg-query rpm apk pacman; do
    command -v "$manager" >/dev/null 2>&1 && return 0
  done
  return 1
}
has_manager || tool_missing "dpkg-query, rpm, apk or pacman"

# The database of a large system is read from disk, and rpm waits for a lock.
# shellcheck disable=SC2034 # ask_tool reads it
tool_seconds=20

# ask_manager AWK-PROGRAM TOOL ARGUMENT...: the program turns what the tool says
# into lines of evidence; what it does not know is a complaint of the tool.
ask_manager() {
  manager_awk=$1
  shift
  command -v "$1" >/dev/null 2>&1 || return 0
  ask_tool "$@" || return 0
  [ "$tool_status" -eq 0 ] || incomplete "$1"
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

printf '%s\n' "$evidence" | sort
printf '%s\n' "$evidence" | awk '/^package: / { count++ } END { print "packages.count: " count + 0 }'
finish
