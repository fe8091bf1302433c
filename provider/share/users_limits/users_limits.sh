#!/bin/sh
# Limits of what is started on this way, where limits are set, local accounts,
# and how a look-up of an unknown user ends.
#
# Names and numbers of accounts only: no real names, no homes, no passwords.

tool_status=
tool_seconds=
# shellcheck source=/dev/null
. "${0%/*}/../common/prologue.sh"
need_tools xargs grep awk sort
need_file /proc/self/limits

# `self` is the program that reads: it has this script's limits, which are those
# of a job that is started the same way.
list_present "$ROOT/proc/self/limits" | print_files || incomplete /proc/self/limits
list_present "$ROOT/etc/security/limits.conf" "$ROOT"/etc/security/limits.d/*.conf |
  print_settings || incomplete "files of limits"

# list_accounts WORD FILE: "WORD: NAME NUMBER [GROUP]" by name.
# shellcheck disable=SC2016 # the dollars belong to awk
list_accounts() {
  [ -e "$ROOT$2" ] || { missing "$2"; return; }
  evidence=$(list_present "$ROOT$2" | print_files) || incomplete "$2"
  printf '%s\n' "$evidence" | awk -v word="$1" -v file="$2" '
    index($0, file ": ") != 1 { if ($0 != "") print; next }
    {
      split(substr($0, length(file) + 3), field, ":")
      if (field[1] ~ /^[^#+-]/) print word ": " field[1] " " field[3] (word == "user" ? " " field[4] : "")
    }' | sort
}
users=$(list_accounts user /etc/passwd)
printf '%s\n' "$users"
# shellcheck disable=SC2016 # the dollars belong to awk
printf '%s\n' "$users" | awk '
  $1 == "user:" { count++; if (seen[$3]++ == 1) shared++; if ($3 == "0") root++ }
  END {
    print "users.count: " count + 0
    print "users.shared_numbers: " shared + 0
    print "users.with_number_0: " root + 0
  }'
list_accounts group /etc/group

# A name that no source knows asks them all: the directory server too. One that
# does not answer is a finding, not a failure of this script.
lookup_unknown_user() {
  hundredths_before=$(hundredths)
  ask_tool getent passwd zelkara-no-such-user >/dev/null || { missing getent; return; }
  case $tool_status in
    0) printf 'lookup.unknown_user: found\n' ;;
    2) printf 'lookup.unknown_user: unknown\n' ;;
    124) printf 'lookup.unknown_user: no answer in %s s\n' "$tool_seconds" ;;
    *) printf 'lookup.unknown_user: failed\n' ;;
  esac
  printf 'lookup.unknown_user_ms: %s\n' "$((($(hundredths) - hundredths_before) * 10))"
}
hundredths() { read -r uptime _ </proc/uptime && echo "${uptime%.*}${uptime#*.}"; }
before_lookup=$incomplete_reason
lookup_unknown_user
incomplete_reason=$before_lookup
finish
