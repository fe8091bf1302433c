# shellcheck shell=sh
# Two sockets with sensors, a disk, a board controller with a fan that stands
# still; a management controller whose tool is a stand-in that prints what
# ipmitool 1.8.18 prints. Made up.

tree_sensors_bmc() {
  chips=$1/sys/class/hwmon
  put "$chips/hwmon0/name" 'coretemp\n'
  put "$chips/hwmon0/temp1_label" 'Package id 0\n'
  put "$chips/hwmon0/temp1_input" '51000\n'
  put "$chips/hwmon0/temp1_crit" '100000\n'
  put "$chips/hwmon1/name" 'coretemp\n'
  put "$chips/hwmon1/temp1_label" 'Package id 1\n'
  put "$chips/hwmon1/temp1_input" '68500\n'
  put "$chips/hwmon10/name" 'nvme\n'
  put "$chips/hwmon10/temp1_label" 'Composite\n'
  put "$chips/hwmon10/temp1_input" '38850\n'
  put "$chips/hwmon2/name" 'nct6779\n'
  put "$chips/hwmon2/fan1_input" '8400\n'
  put "$chips/hwmon2/fan2_label" 'CPU Fan\n'
  put "$chips/hwmon2/fan2_input" '0\n'
  put "$chips/hwmon2/in0_input" '1032\n'
  put "$chips/hwmon2/power1_average" '245500000\n'
  put "$1/dev/ipmi0" ''
  today=$(date -u +%m/%d/%Y)
  # shellcheck disable=SC2016 # the text is a script
  put_tool "$1-tools/ipmitool" 'case $1 in
mc) cat <<"END"
Device ID                 : 32
Firmware Revision         : 6.10
IPMI Version              : 2.0
Manufacturer ID           : 674
Manufacturer Name         : Example Inc.
Product Name              : Unknown (0x100)
END
;;
sdr) cat <<"END"
Fan1A            | 8400 RPM          | ok
Fan2A            | 0 RPM             | cr
Inlet Temp       | 22 degrees C      | ok
PS Redundancy    | disabled          | ns
Temp: Exhaust    | 41 degrees C      | ok
Pwr Consumption  | 322 Watts         | ok
END
;;
sel) cat <<END
   1 | Pre-Init  |0000000003| System Event #0x83 | OEM System boot event | Asserted
   2 | 04/12/2019 | 10:20:30 | Memory #0x53 | Correctable ECC | Asserted
   3 | '"$today"' | '"$(date -u +%H:%M:%S)"' | Power Supply #0x51 | Failure detected | Asserted
END
;;
esac'
  mkdir -p "$1-bmc/dev"
  put "$1-bmc/dev/ipmi0" ''
  put "$1-sensors/sys/class/hwmon/hwmon0/name" 'k10temp\n'
  put "$1-sensors/sys/class/hwmon/hwmon0/temp1_input" '44125\n'
  mkdir -p "$1-none/sys/class"
}

stable_sensors_bmc() { sed 's/[0-9].*$//; /^hwmon\.fans_still: /d; /^ipmitool: /d; /^sel\./d'; }

# A tool that is not here, and one that fails in the log.
test_controller_silent() {
  bare=$scratch/bmc-bare
  mkdir "$bare"
  for tool in xargs grep awk date timeout env cat; do ln -s "$(command -v "$tool")" "$bare/$tool"; done
  shell="env ZELK_PROVIDER_PATH=$bare"
  check "sensors: no tool" gives 0 sensors_bmc "unreadable: ipmitool: no ipmitool"
  check "sensors: no log without the tool" gives 0 sensors_bmc "unreadable: sel.recent: no ipmitool"
  # shellcheck disable=SC2016 # the text is a script
  put_tool "$bare/ipmitool" 'case $1 in
mc) echo "Firmware Revision         : 6.10" ;;
*) echo "Get SEL Info command failed" >&2; exit 1 ;; esac'
  check "sensors: a part of the tool fails" gives 0 sensors_bmc \
    "unreadable: ipmitool: ipmitool sdr: exit status 1"
  check "sensors: the log fails" gives 0 sensors_bmc \
    "unreadable: sel.entries: ipmitool sel: exit status 1"
  check "sensors: the other part is told" gives 0 sensors_bmc \
    "ipmitool: Firmware Revision         : 6.10"
}

test_sensors_bmc() {
  ln -s "$trees/sensors_bmc-tools" "$scratch/bmc"
  shell="env ZELK_PROVIDER_PATH=$scratch/bmc:/usr/sbin:/usr/bin:/sbin:/bin"
  check "sensors: the file" gives 0 sensors_bmc "/sys/class/hwmon/hwmon1/temp1_input: 68500"
  check "sensors: by name" gives 0 sensors_bmc "sensor.coretemp.package_id_1.temperature: 68.5 °C"
  check "sensors: without a label" gives 0 sensors_bmc "sensor.nct6779.fan1.fan: 8400 rpm"
  check "sensors: voltage" gives 0 sensors_bmc "sensor.nct6779.in0.voltage: 1.032 V"
  check "sensors: power" gives 0 sensors_bmc "sensor.nct6779.power1.power: 245.50 W"
  check "sensors: the hottest" gives 0 sensors_bmc "hwmon.hottest: 68.5 °C"
  check "sensors: a fan that stands" gives 0 sensors_bmc "hwmon.fans_still: 1"
  check "sensors: firmware of the controller" gives 0 sensors_bmc \
    "ipmitool: Firmware Revision         : 6.10"
  check "sensors: the log of today" gives 0 sensors_bmc \
    "sel.entry: Power Supply #0x51 | Failure detected | Asserted"
  check "sensors: of today only" gives 0 sensors_bmc "sel.recent: 1"
  check "sensors: all entries" gives 0 sensors_bmc "sel.entries: 3"
  check "sensors: entries without a date" gives 0 sensors_bmc "sel.undated: 1"
  check "sensors: nothing of years ago" lacks sensors_bmc "Correctable ECC"
  test_controller_silent
  shell="env SENSORS_SEL_HOURS=x"
  check "sensors: a window that is no number" gives 2 sensors_bmc
  shell=
  if can_be_nobody; then shell=$as_nobody; fi
  chmod 000 "$trees/sensors_bmc/dev/ipmi0"
  check "sensors: the controller is for root" gives 0 sensors_bmc \
    "unreadable: /dev/ipmi0: Permission denied"
  check "sensors: so its sensors are not known" gives 0 sensors_bmc \
    "unreadable: ipmitool: Permission denied"
  check "sensors: nor its log" gives 0 sensors_bmc "unreadable: sel.entry: Permission denied"
  chmod 644 "$trees/sensors_bmc/dev/ipmi0"
  shell=
  tree=sensors_bmc-bmc
  check "sensors: a controller alone" gives 0 sensors_bmc "hwmon.chips: 0"
  tree=sensors_bmc-sensors
  check "sensors: no controller" gives 0 sensors_bmc "missing: /dev/ipmi0"
  tree=sensors_bmc-none
  check "sensors: none" gives 80 sensors_bmc
}
