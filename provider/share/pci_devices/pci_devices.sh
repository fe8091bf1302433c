#!/bin/sh
# Devices on the PCI bus, a line for each, and links that run below what both
# ends can.

# shellcheck source=/dev/null
. "${0%/*}/../common/prologue.sh"
need_tools xargs grep awk sort
need_file /sys/bus/pci/devices

list_devices() {
  for device in "$ROOT"/sys/bus/pci/devices/*; do
    list_present "$device/vendor" "$device/device" "$device/class" \
      "$device/subsystem_vendor" "$device/subsystem_device" "$device/revision" \
      "$device/current_link_speed" "$device/max_link_speed" \
      "$device/current_link_width" "$device/max_link_width" \
      "$device/numa_node" "$device/uevent"
  done
}

# The address of a device has colons, so its lines are taken apart here and not
# by print_files. The counts at the end compare nodes whose buses are numbered
# differently: an empty slot moves all numbers after it.
# shellcheck disable=SC2016,SC2154 # dollars of awk; prologue.sh has the refusals
evidence=$(list_devices | xargs -0 grep -a '' /dev/null 2>&1 |
  awk -v skip="${#ROOT}" -v normal="$normal_refusals" '
  /^grep: / {
    text = substr($0, skip + 7)
    message = text
    while ((colon = index(message, ": ")) > 0) message = substr(message, colon + 2)
    print "4 unreadable: " text
    if (message !~ normal) failed = 1
    next
  }
  {
    line = substr($0, skip + 1)
    if (!match(line, /^\/sys\/bus\/pci\/devices\/[^\/]+\//)) next
    address = substr(line, 22, RLENGTH - 22)
    line = substr(line, RLENGTH + 1)
    colon = index(line, ":")
    name = substr(line, 1, colon - 1)
    text = substr(line, colon + 1)
    if (name == "vendor") addresses[++count] = address
    if (name != "uevent") value[address, name] = text
    else if (text ~ /^DRIVER=/) value[address, "driver"] = substr(text, 8)
  }
  function hex(address, name) { return substr(value[address, name], 3) }
  function link(address, which) {
    return value[address, which "_link_speed"] " x" value[address, which "_link_width"]
  }
  # 255 and 0 are what a device without such a link says, as on the chip itself.
  function has_link(address,    widest) {
    widest = value[address, "max_link_width"] + 0
    return widest > 0 && widest < 255 && value[address, "current_link_width"] + 0 > 0
  }
  # A bridge has the link of its slot, where a slower card may rightly be.
  function link_is_below(address) {
    if (!has_link(address) || value[address, "class"] ~ /^0x0604/) return 0
    return value[address, "current_link_speed"] + 0 < value[address, "max_link_speed"] + 0 ||
           value[address, "current_link_width"] + 0 < value[address, "max_link_width"] + 0
  }
  END {
    for (i = 1; i <= count; i++) {
      address = addresses[i]
      id = hex(address, "vendor") ":" hex(address, "device") " class " hex(address, "class")
      kinds[id]++
      text = address " " id " revision " hex(address, "revision")
      text = text " subsystem " hex(address, "subsystem_vendor") ":" hex(address, "subsystem_device")
      if ((address, "numa_node") in value) text = text " numa " value[address, "numa_node"]
      if (has_link(address)) text = text " link " link(address, "current") " of " link(address, "max")
      if ((address, "driver") in value) text = text " driver " value[address, "driver"]
      print "0 pci.device: " text
      if (!link_is_below(address)) continue
      below++
      print "2 pci.link_below: " address " " id " " link(address, "current") " of " link(address, "max")
    }
    for (id in kinds) print "1 pci.kind: " id " x " kinds[id]
    print "3 pci.devices: " count + 0
    print "3 pci.links_below: " below + 0
    exit failed ? 83 : 0
  }') || incomplete "files of /sys/bus/pci/devices"
case $evidence in
  *"pci.devices: 0"*) not_applicable "no device on the PCI bus" ;;
esac
printf '%s\n' "$evidence" | sort | while read -r _ line; do printf '%s\n' "$line"; done
finish
