#!/bin/sh
# Addresses, routes and rules, how names are looked up, and whether the node's
# own name has an answer.

tool_output=
tool_status=
tool_seconds=
# shellcheck source=/dev/null
. "${0%/*}/../common/prologue.sh"
need_tools grep awk sh timeout
run_within 60

# A node that routes for others may know a million routes.
most_routes=2000

# Whether a link is one that containers and virtual machines bring along.
# shellcheck disable=SC2016 # the dollars belong to awk
passing_awk='
  function is_passing(link) {
    return link ~ /^(veth|cali|lxc|lxd|cni|flannel|docker|podman|cilium|kube-|nodelocaldns|weave|vxlan[-.]|tunl[0-9]|azv|eni|tap|vnet|virbr|macvtap|br-[0-9a-f][0-9a-f][0-9a-f][0-9a-f][0-9a-f][0-9a-f][0-9a-f][0-9a-f])/
  }'

# ask_ip SOURCE ARGUMENT...: what `ip` says, in `ip_lines`, an address, route or
# rule a line: without lifetimes, which run down, and with the next hops of a
# route behind it. Blanks at line ends come and go with versions of the tool.
ask_ip() {
  ip_source=$1
  shift
  ip_lines=
  if ! ask_tool ip "$@"; then
    printf 'unreadable: %s: no ip\n' "$ip_source"
    return
  fi
  # What it says when it fails is no route.
  if [ "$tool_status" -ne 0 ]; then
    printf 'unreadable: %s: ip: exit status %s\n' "$ip_source" "$tool_status"
    [ -z "$tool_output" ] || printf '%s\n' "$tool_output" | awk 'NF { print "failed: ip: " $0 }'
    return
  fi
  # shellcheck disable=SC2016 # the dollars belong to awk
  ip_lines=$(printf '%s\n' "$tool_output" | awk '
    function flush() { if (line != "") print line; line = "" }
    $0 == "" { next }
    {
      sub(/ valid_lft [^ ]+ preferred_lft [^ ]+/, "")
      sub(/\\ *$/, "")
      sub(/ expires -?[0-9]+sec/, "")
      is_hop = /^[ \t]+nexthop / && line != ""
      gsub(/[ \t]+/, " ")
      sub(/ $/, "")
      if (is_hop) { line = line $0; next }
      flush()
      line = $0
    }
    END { flush() }')
}

print_ip() {
  [ -z "$ip_lines" ] || printf '%s\n' "$ip_lines" |
    awk -v source="$1" -v most="$most_routes" '
      NR > most { next }
      { print source ": " $0 }
      END { if (NR > most) print "skipped: " source ": " NR - most " more" }'
}

# print_routes SOURCE: what the kernel or a service chose by itself (preference,
# metric, the own address) is put behind the rest, so that what lies in front of
# it can be compared. A route to an own address, and those of containers, are
# called volatile.
print_routes() {
  # shellcheck disable=SC2016 # the dollars belong to awk
  [ -z "$ip_lines" ] || printf '%s\n' "$ip_lines" |
    awk -v source="$1" -v most="$most_routes" -v own="$own_addresses" "$passing_awk"'
      BEGIN { count = split(own, list, " "); for (i = 1; i <= count; i++) is_own[list[i]] }
      function moved(name,    found) {
        if (!match($0, " " name " [^ ]+")) return
        found = substr($0, RSTART, RLENGTH)
        $0 = substr($0, 1, RSTART - 1) substr($0, RSTART + RLENGTH)
        behind = behind found
      }
      NR > most { next }
      {
        behind = ""
        moved("pref")
        moved("metric")
        moved("src")
        to = $1
        sub(/\/(32|128)$/, "", to)
        link = match($0, / dev [^ ]+/) ? substr($0, RSTART + 5, RLENGTH - 5) : ""
        passes = to in is_own || is_passing(link) || / proto (bird|cilium|80|kube)( |$)/
        print (passes ? "volatile: " : "") source ": " $0 behind
      }
      END { if (NR > most) print "skipped: " source ": " NR - most " more" }'
}

ask_ip address -o address show
# shellcheck disable=SC2016 # the dollars belong to awk
own_addresses=$(printf '%s\n' "$ip_lines" | awk '
  $3 ~ /^inet6?$/ { sub(/\/.*/, "", $4); printf "%s ", $4 }')
print_ip address
ask_ip route4 -4 route show
print_routes route4
ask_ip route6 -6 route show
print_routes route6
ask_ip rule4 -4 rule show
print_ip rule4
ask_ip rule6 -6 rule show
print_ip rule6

names_evidence=$(print_etc_settings needed /etc/resolv.conf) || incomplete /etc/resolv.conf
[ -z "$names_evidence" ] || printf '%s\n' "$names_evidence"
# That the file is missing is a state of the node, not something unread.
case $names_evidence in
  missing:*) printf 'resolv_conf: missing\n' ;;
  unreadable:*) printf 'unreadable: resolv_conf: %s\n' "${names_evidence#*: *: }" ;;
  *) printf 'resolv_conf: present\n' ;;
esac
print_etc_settings optional /etc/nsswitch.conf /etc/host.conf /etc/gai.conf /etc/hosts ||
  incomplete "files of name resolution"

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
