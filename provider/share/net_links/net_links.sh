#!/bin/sh
# Network links, virtual ones too: state, settings, driver and error counters.

# shellcheck source=/dev/null
. "${0%/*}/../common/prologue.sh"
need_tools xargs grep awk
need_file /sys/class/net

# The kernel forbids blanks and slashes in a link's name, and nothing else. A
# name with control characters would break the lines of the evidence.
# list_links KIND: those that stay (lasting), or that come and go with containers
# and virtual machines (passing) and are called so by whatever made them.
list_links() {
  for link in "$ROOT"/sys/class/net/*/; do
    link=${link%/}
    case ${link##*/} in
      '*' | *[[:cntrl:][:space:]:]*) continue ;;
    esac
    kind=lasting
    ! is_passing "$link" || kind=passing
    [ "$kind" != "$1" ] || list_link "$link"
  done
}

is_passing() {
  [ ! -e "$1/device" ] || return 1
  case ${1##*/} in
    veth* | cali* | lxc* | lxd* | cni* | flannel* | docker* | podman* | cilium* | kube-* | \
      nodelocaldns | weave* | vxlan-* | vxlan.* | tunl[0-9]* | azv* | eni* | tap* | vnet* | \
      virbr* | macvtap* | \
      br-[0-9a-f][0-9a-f][0-9a-f][0-9a-f][0-9a-f][0-9a-f][0-9a-f][0-9a-f]*) return 0 ;;
  esac
  return 1
}

list_link() {
  list_present "$1/type" "$1/flags" "$1/address" "$1/mtu" "$1/operstate" \
    "$1/carrier" "$1/speed" "$1/duplex" "$1/tx_queue_len" "$1/ifalias" \
    "$1/device/uevent" "$1/device/numa_node" \
    "$1/bonding/mode" "$1/bonding/slaves" "$1/bonding/active_slave" \
    "$1/carrier_changes" "$1/statistics/collisions" \
    "$1"/statistics/*_errors "$1"/statistics/*_dropped
}

for link in "$ROOT"/sys/class/net/*[[:cntrl:][:space:]:]*/; do
  [ -d "$link" ] && incomplete "a link's name has blanks or control characters"
done
list_links lasting | print_files || incomplete "files of /sys/class/net"
# These may vanish while they are being read.
# shellcheck disable=SC2016 # the dollars belong to awk
list_links passing | print_files | awk '
  /^unreadable: / { next }
  { print "volatile: " $0 }'
finish
