#!/bin/sh
# Services under systemd: those that failed, those that run, and what starts at
# boot.

tool_output=
tool_status=
# shellcheck source=/dev/null
. "${0%/*}/../common/prologue.sh"
need_tools awk sort
# What systemd itself says to look at: the folder is there if it is in charge.
[ -d "$ROOT/run/systemd/system" ] || not_applicable "systemd does not run this machine"
need_tools systemctl timeout env

# A busy manager answers late, and reading the unit files takes half a second.
# shellcheck disable=SC2034 # ask_tool reads it
tool_seconds=15

# ask_units SOURCE AWK-FIELDS ARGUMENT...: a line for each unit, by name. Some
# versions put a dot in front of a failed one.
ask_units() {
  units_source=$1
  units_fields=$2
  shift 2
  ask_tool systemctl --no-pager --no-legend --full "$@" || return 0
  if [ "$tool_status" -ne 0 ]; then
    incomplete "systemctl $1"
    printf '%s\n' "$tool_output" | awk 'NF { print "failed: systemctl: " $0 }'
    return 0
  fi
  printf '%s\n' "$tool_output" | awk -v source="$units_source" '
    { sub(/^[^A-Za-z0-9]*[ \t]+/, "") }
    NF { print source ": " '"$units_fields"' }' | sort
}

# shellcheck disable=SC2016 # the dollars belong to awk
{
  ask_units unit_failed '$1 " " $2 " " $4' list-units --all --state=failed
  ask_units service '$1 " " $3 " " $4' list-units --all --type=service
  ask_units unit_file '$1 " " $2' list-unit-files --state=enabled,enabled-runtime,masked,linked
}
finish
