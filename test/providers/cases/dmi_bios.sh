# shellcheck shell=sh
# A server with two of four memory slots filled. The stand-in prints what
# `dmidecode -t 17` prints; the machine is made up.

tree_dmi_bios() {
  id=$1/sys/class/dmi/id
  put "$id/sys_vendor" 'Example Inc.\n'
  put "$id/product_name" 'Server R750\n'
  put "$id/board_name" '0ABCDE\n'
  put "$id/board_version" 'A02\n'
  put "$id/bios_vendor" 'Example Inc.\n'
  put "$id/bios_version" '1.12.1\n'
  put "$id/bios_date" '05/22/2026\n'
  put_each 'SERIAL123\n' "$id/product_serial" "$id/product_uuid" "$id/chassis_asset_tag" \
    "$id/board_serial" "$id/chassis_serial" "$id/board_asset_tag"
  put "$1/sys/firmware/dmi/tables/DMI" 'x'
  # shellcheck disable=SC2016 # the text is a script
  put_tool "$1-tools/dmidecode" 'cat <<"END"
# dmidecode 3.4
Getting SMBIOS data from sysfs.
SMBIOS 3.3.0 present.

Handle 0x1100, DMI type 17, 92 bytes
Memory Device
	Array Handle: 0x1000
	Total Width: 80 bits
	Size: 64 GB
	Form Factor: DIMM
	Locator: A1
	Bank Locator: Not Specified
	Type: DDR5
	Type Detail: Synchronous Registered (Buffered)
	Speed: 4800 MT/s
	Manufacturer: Example Memory
	Serial Number: SERIAL123
	Asset Tag: SERIAL123
	Part Number: EX64G-4800    
	Rank: 2
	Configured Memory Speed: 4400 MT/s

Handle 0x1101, DMI type 17, 92 bytes
Memory Device
	Size: No Module Installed
	Locator: A2
	Type: Unknown
	Speed: Unknown

Handle 0x1102, DMI type 17, 92 bytes
Memory Device
	Size: 64 GB
	Locator: B1
	Type: DDR5
	Speed: 4800 MT/s
	Serial Number: SERIAL124
	Configured Memory Speed: 4800 MT/s

Handle 0x1103, DMI type 17, 92 bytes
Memory Device
	Size: No Module Installed
	Locator: B2

Handle 0x0100, DMI type 127, 4 bytes
End Of Table
	Size: 1 GB
END'
  put_tool "$1-tools-broken/dmidecode" 'echo "/dev/mem: No such file" >&2; exit 1'
  mkdir -p "$1-none/sys/class"
}

test_dmi_bios() {
  usual=/usr/sbin:/usr/bin:/sbin:/bin
  ln -s "$trees/dmi_bios-tools" "$scratch/dmi"
  ln -s "$trees/dmi_bios-tools-broken" "$scratch/dmi-broken"
  shell="env ZELK_PROVIDER_PATH=$scratch/dmi:$usual"
  check "firmware: version" gives 0 dmi_bios "/sys/class/dmi/id/bios_version: 1.12.1"
  check "firmware: a slot" gives 0 dmi_bios "dimm.0.locator: A1"
  check "firmware: blanks at the end of a number" gives 0 dmi_bios "dimm.0.part_number: EX64G-4800"
  check "firmware: a slower module" gives 0 dmi_bios "dimm.0.configured_memory_speed: 4400 MT/s"
  check "firmware: an empty slot" gives 0 dmi_bios "dimm.1.size: No Module Installed"
  check "firmware: slots" gives 0 dmi_bios "dimms.slots: 4"
  check "firmware: modules" gives 0 dmi_bios "dimms.filled: 2"
  check "firmware: no serial number" lacks dmi_bios SERIAL
  shell="env ZELK_PROVIDER_PATH=$scratch/dmi-broken:$usual"
  check "firmware: a tool that fails" gives 83 dmi_bios "failed: dmidecode: exit status 1"
  bare=$scratch/dmi-bare
  mkdir "$bare"
  for tool in xargs grep awk timeout env cat; do ln -s "$(command -v "$tool")" "$bare/$tool"; done
  shell="env ZELK_PROVIDER_PATH=$bare"
  check "firmware: no tool" gives 0 dmi_bios "unreadable: dimms.filled: no dmidecode"
  shell=
  if can_be_nobody; then shell=$as_nobody; fi
  chmod 000 "$trees/dmi_bios/sys/firmware/dmi/tables/DMI"
  check "firmware: modules are for root" gives 0 dmi_bios \
    "unreadable: /sys/firmware/dmi/tables/DMI: Permission denied"
  check "firmware: so they are not known" gives 0 dmi_bios "unreadable: dimm.*.*: Permission denied"
  check "firmware: nor how many there are" gives 0 dmi_bios \
    "unreadable: dimms.filled: Permission denied"
  chmod 644 "$trees/dmi_bios/sys/firmware/dmi/tables/DMI"
  shell=
  tree=dmi_bios-none
  check "firmware: none" gives 80 dmi_bios
}
