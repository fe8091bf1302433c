#!/bin/sh
# The kernel's settings under /proc/sys, each as the file holds it.
#
# The tree is read directly: the sysctl program is in no ordinary user's PATH
# on some systems, and its versions differ in what they leave out. Root can
# read more than others, so the user's number comes first.
#
# Left out, with a line that says so:
#   - secrets: keys and seeds by name. They are never opened.
#   - settings of virtual network interfaces: some 150 files each, and a
#     container host has hundreds. `all`, `default` and `lo` are there, and
#     every interface that has a device behind it.
#   - kernel/sched_domain: about 30 files for each processor (older kernels).
#   - vm/stat_refresh: reading it makes every processor do work, and waits for
#     one that is busy.
#   - fs/binfmt_misc: it may be an automount point, which reading would trigger.
#
# What is no setting but a state, and what names the node, stands behind the word
# "volatile", so that the rest can be compared.

# shellcheck source=/dev/null
. "${0%/*}/../common/prologue.sh"
need_tools id find sort tr xargs grep awk
need_file /proc/sys/kernel

settings=$ROOT/proc/sys
printf 'uid: %s\n' "$(id -u)"

find_settings() {
  find "$settings" \
    \( -path "$settings/fs/binfmt_misc" -o -path "$settings/kernel/sched_domain" \
    -o -path "$settings/net/ipv[46]/conf/*" -o -path "$settings/net/ipv[46]/neigh/*" \) \
    -prune -o -type f -perm -400 ! -path "$settings/vm/stat_refresh" -print
}

list_interface() {
  for family in ipv4 ipv6; do
    for interface_file in "$settings/net/$family/conf/$1"/* "$settings/net/$family/neigh/$1"/*; do
      [ -f "$interface_file" ] && printf '%s\n' "$interface_file"
    done
  done
}

list_interfaces() {
  for interface in all default lo; do
    list_interface "$interface"
  done
  for device in "$ROOT"/sys/class/net/*/device; do
    interface=${device%/device}
    list_interface "${interface##*/}"
  done
}

is_secret='(_key|secret|password)$'
found_settings=$(find_settings) || incomplete "walk of /proc/sys"
all_settings=$({ printf '%s\n' "$found_settings" && list_interfaces; } | sort -u)

# Said whether they are there or not: asking could trigger the automount.
printf 'skipped: /proc/sys/%s\n' fs/binfmt_misc kernel/sched_domain vm/stat_refresh
printf '%s\n' "$all_settings" | grep -E "$is_secret" |
  awk -v skip="${#ROOT}" '{ print "withheld: " substr($0, skip + 1) }'
evidence=$(printf '%s\n' "$all_settings" | grep -v -E "$is_secret" | tr '\n' '\0' |
  print_files) || incomplete "files of /proc/sys"
is_volatile='^/proc/sys/(fs/([a-z]*-(nr|state)|quota/[^:]*)'
is_volatile="$is_volatile|kernel/(random/[^:]*|ns_last_pid|pty/nr|hostname|hung_task_detect_count)"
is_volatile="$is_volatile|net/netfilter/nf_conntrack_count): "
printf '%s\n' "$evidence" | awk -v is_volatile="$is_volatile" '
  $0 ~ is_volatile { print "volatile: " $0; next }
  { print }'
finish
