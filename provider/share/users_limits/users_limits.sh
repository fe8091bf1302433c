#!/bin/sh
# Limits of what is started on this way, where limits are set, local accounts,
# and how a look-up of an unknown user ends.
#
# Names and numbers of accounts only: no real names, no homes, no passwords.

tool_output=
tool_status=
tool_seconds=
# shellcheck source=/dev/null
. "${0%/*}/../common/prologue.sh"
need_tools xargs grep awk sort sh timeout
run_within 60
need_file /proc/self/limits

# `self` is the program that reads: it has this script's limits, which are those
# of a job that is started the same way.
list_present "$ROOT/proc/self/limits" | print_files || incomplete /proc/self/limits
print_etc_settings optional /etc/security/limits.conf '/etc/security/limits.d/*.conf' ||
  incomplete "files of limits"

# list_accounts WORD FILE: "WORD: NAME NUMBER [GROUP]" by name, in `accounts`. False
# when the file was not read; why, in `accounts_reason`.
# shellcheck disable=SC2016 # the dollars belong to awk
list_accounts() {
  evidence=$(print_etc needed "$2")
  accounts_reason=$(printf '%s\n' "$evidence" | awk -v file="$2" '
    $0 == "missing: " file { print "No such file or directory"; exit }
    index($0, "unreadable: " file ": ") == 1 { print substr($0, length(file) + 15); exit }')
  [ -z "$accounts_reason" ] || return 1
  accounts=$(printf '%s\n' "$evidence" | awk -v word="$1" -v file="$2" '
    {
      split(substr($0, length(file) + 3), field, ":")
      if (field[1] ~ /^[^#+-]/) print word ": " field[1] " " field[3] (word == "user" ? " " field[4] : "")
    }' | sort)
  [ -z "$accounts" ] || printf '%s\n' "$accounts"
}

# Of what was not read in full no count is known either.
if list_accounts user /etc/passwd; then
  # shellcheck disable=SC2016 # the dollars belong to awk
  printf '%s\n' "$accounts" | awk '
    $1 == "user:" { count++; if (seen[$3]++ == 1) shared++; if ($3 == "0") root++ }
    END {
      print "users.count: " count + 0
      print "users.shared_numbers: " shared + 0
      print "users.with_number_0: " root + 0
    }'
else
  for unknown in user users.count users.shared_numbers users.with_number_0; do
    give_up "$unknown" "/etc/passwd: $accounts_reason"
  done
fi
list_accounts group /etc/group || give_up group "/etc/group: $accounts_reason"

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

# count_known WORD DATABASE: how many accounts all sources together tell of. A
# directory server that is set not to list them tells of none, on all nodes.
count_known() {
  case $tool_status in
    124) printf 'unreadable: %s: no answer in %s s\n' "$1" "$tool_seconds"; return ;;
  esac
  if ! ask_tool getent "$2" >/dev/null; then
    printf 'unreadable: %s: no getent\n' "$1"
  elif [ "$tool_status" -eq 124 ]; then
    printf 'unreadable: %s: no answer in %s s\n' "$1" "$tool_seconds"
  elif [ "$tool_status" -ne 0 ]; then
    printf 'unreadable: %s: getent: exit status %s\n' "$1" "$tool_status"
  else
    printf '%s\n' "$tool_output" | awk -v word="$1" 'NF { count++ } END { print word ": " count + 0 }'
  fi
}
before_lookup=$incomplete_reason
lookup_unknown_user
count_known users.known passwd
count_known groups.known group
incomplete_reason=$before_lookup
finish
