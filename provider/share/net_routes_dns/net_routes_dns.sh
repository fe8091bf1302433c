#!/bin/sh
# Addresses, routes and rules, how names are looked up, and whether the node's
# own name has an answer.

tool_output=
tool_status=
tool_seconds=
# shellcheck source=/dev/null
. "${0%/*}/../common/prologue.sh"
need_tools xargs grep awk

# A node that routes for others may know a million routes.
most_routes=2000

# ask_ip SOURCE ARGUMENT...: what `ip` says, without the lifetimes of addresses,
# which run down. Blanks at line ends come and go with its versions.
ask_ip() {
  ip_source=$1
  shift
  ask_tool ip "$@" || return 0
  # What it says when it fails is no route.
  [ "$tool_status" -eq 0 ] || ip_source="failed: ip"
  # shellcheck disable=SC2016 # the dollars belong to awk
  printf '%s\n' "$tool_output" | awk -v source="$ip_source" -v most="$most_routes" '
    $0 == "" { next }
    ++count > most { next }
    {
      sub(/ valid_lft [^ ]+ preferred_lft [^ ]+/, "")
      sub(/\\ *$/, "")
      sub(/ expires -?[0-9]+sec/, "")
      gsub(/[ \t]+/, " ")
      sub(/ $/, "")
      print source ": " $0
    }
    END { if (count > most) print "skipped: " source ": " count - most " more" }'
}

ask_ip address -o address show
ask_ip route4 -4 route show
ask_ip route6 -6 route show
ask_ip rule4 -4 rule show
ask_ip rule6 -6 rule show

list_present "$ROOT/etc/resolv.conf" "$ROOT/etc/nsswitch.conf" "$ROOT/etc/host.conf" \
  "$ROOT/etc/gai.conf" "$ROOT/etc/hosts" |
  print_settings || incomplete "files of name resolution"
[ -e "$ROOT/etc/resolv.conf" ] || missing /etc/resolv.conf

# A name server that does not answer is a finding, not a failure of this script.
lookup_own_name() {
  command -v uname >/dev/null 2>&1 || { missing uname; return; }
  ask_tool getent hosts "$(uname -n)" >/dev/null || { missing getent; return; }
  case $tool_status in
    0) printf 'lookup.own_name: answered\n' ;;
    2) printf 'lookup.own_name: unknown\n' ;;
    124) printf 'lookup.own_name: no answer in %s s\n' "$tool_seconds" ;;
    *) printf 'lookup.own_name: failed\n' ;;
  esac
}
before_lookup=$incomplete_reason
lookup_own_name
incomplete_reason=$before_lookup
finish
