#!/bin/sh
# Temperatures, fans, voltages and power, and what the management controller of
# the mainboard (BMC) has written down lately.
#
#   SENSORS_SEL_HOURS   how far back to look in its log; default 24
#
# The controller answers slowly, and its log is read entry by entry: half a
# minute for a thousand of them is usual.

hours=${SENSORS_SEL_HOURS:-24}
tool_output=
tool_status=
# shellcheck source=/dev/null
. "${0%/*}/../common/prologue.sh"
need_tools xargs grep awk date
case $hours in
  '' | *[!0-9]* | ??????*) stop 2 "SENSORS_SEL_HOURS is '$hours', expected whole hours" ;;
esac

controller=
for device in /dev/ipmi0 /dev/ipmi/0 /dev/ipmidev/0; do
  [ ! -e "$ROOT$device" ] || { controller=$device; break; }
done
found=no
for chip in "$ROOT"/sys/class/hwmon/hwmon*; do
  [ ! -d "$chip" ] || found=yes
done
[ "$found$controller" != no ] ||
  not_applicable "no sensor (/sys/class/hwmon) and no management controller (/dev/ipmi0)"

list_chips() {
  for chip in "$ROOT"/sys/class/hwmon/hwmon[0-9] "$ROOT"/sys/class/hwmon/hwmon[0-9][0-9] \
    "$ROOT"/sys/class/hwmon/hwmon[0-9][0-9][0-9]; do
    list_present "$chip/name" "$chip"/temp*_label "$chip"/temp*_input \
      "$chip"/temp*_max "$chip"/temp*_crit "$chip"/fan*_label "$chip"/fan*_input \
      "$chip"/in*_label "$chip"/in*_input "$chip"/power*_label \
      "$chip"/power*_input "$chip"/power*_average
  done
}
# An input or output error is how a chip without power answers; it is told, and
# the others are still measured.
evidence=$(list_chips | print_files) || incomplete "sensors of /sys/class/hwmon"
[ -z "$evidence" ] || printf '%s\n' "$evidence"
# shellcheck disable=SC2016 # the dollars belong to awk
printf '%s\n' "$evidence" | awk '
  # A chip and a sensor by their names: the numbers of chips differ from boot to
  # boot. A sensor without a label is called by its file, temp1.
  function plain(text) {
    text = tolower(text)
    gsub(/[^a-z0-9]+/, "_", text)
    sub(/_$/, "", text)
    return text
  }
  function read_sensor(line,    slash, colon, file) {
    if (!match(line, /^\/sys\/class\/hwmon\/hwmon[0-9]+\//)) return 0
    folder = substr(line, 1, RLENGTH)
    file = substr(line, RLENGTH + 1)
    colon = index(file, ": ")
    text = substr(file, colon + 2)
    file = substr(file, 1, colon - 1)
    if (file == "name") { chip[folder] = plain(text); chips++; return 0 }
    slash = index(file, "_")
    sensor = substr(file, 1, slash - 1)
    what = substr(file, slash + 1)
    if (what == "label") label[folder, sensor] = plain(text)
    if ((what != "input" && what != "average") || text !~ /^-?[0-9]+$/) return 0
    name = "sensor." chip[folder] "."
    name = name ((folder, sensor) in label ? label[folder, sensor] : sensor)
    return 1
  }
  # Files are in thousandths of a degree and of a volt, millionths of a watt.
  read_sensor($0) {
    if (sensor ~ /^temp/) {
      if (!temperatures++ || text + 0 > hottest) hottest = text + 0
      printf "%s.temperature: %.1f °C\n", name, text / 1000
    } else if (sensor ~ /^fan/) {
      fans++
      if (text == 0) still++
      print name ".fan: " text " rpm"
    } else if (sensor ~ /^in/) printf "%s.voltage: %.3f V\n", name, text / 1000
    else if (sensor ~ /^power/) printf "%s.power: %.2f W\n", name, text / 1000000
  }
  END {
    print "hwmon.chips: " chips + 0
    print "hwmon.temperatures: " temperatures + 0
    if (temperatures) printf "hwmon.hottest: %.1f °C\n", hottest / 1000
    print "hwmon.fans: " fans + 0
    print "hwmon.fans_still: " still + 0
  }'

# The log tells the controller own time of each entry; what it wrote before its
# clock was set has none. shellcheck cannot see that the dollars belong to awk.
# shellcheck disable=SC2016
print_recent_entries() {
  awk -F ' *[|] *' -v now="$(date -u +%Y-%m-%d-%H-%M-%S)" -v hours="$hours" '
    function days(year, month, day) {
      if (month <= 2) { year--; month += 12 }
      leap_days = int(year / 4) - int(year / 100) + int(year / 400)
      return 365 * year + leap_days + int((153 * (month - 3) + 2) / 5) + day
    }
    function seconds(year, month, day, hour, minute, second) {
      return ((days(year, month, day) * 24 + hour) * 60 + minute) * 60 + second
    }
    BEGIN {
      split(now, n, "-")
      begin = seconds(n[1], n[2], n[3], n[4], n[5], n[6]) - hours * 3600
    }
    NF < 4 { next }
    { entries++ }
    $2 !~ /^[0-9]+\/[0-9]+\/[0-9]+$/ { undated++; next }
    {
      split($2, d, "/")
      split($3, t, /[: ]/)
      if (d[3] < 100) d[3] += 2000
      if (seconds(d[3], d[1], d[2], t[1], t[2], t[3]) < begin) next
      recent++
      text = $4
      for (i = 5; i <= NF; i++) text = text " | " $i
      print "sel.entry: " text
    }
    END {
      print "sel.entries: " entries + 0
      print "sel.undated: " undated + 0
      print "sel.recent: " recent + 0
    }'
}

# What the controller would tell is not known, which is not the same as a
# controller without sensors or a log without entries.
sensors_unknown() { printf 'unreadable: ipmitool: %s\n' "$1"; }
log_unknown() {
  for unknown in sel.entries sel.undated sel.recent sel.entry; do
    printf 'unreadable: %s: %s\n' "$unknown" "$1"
  done
}

# ask_controller ARGUMENT...: a part of the sensors may be told even when the
# tool fails in the end.
# shellcheck disable=SC2154 # ask_tool sets tool_status
ask_controller() {
  run_tool ipmitool "$@"
  [ "$tool_status" -eq 0 ] || sensors_unknown "ipmitool $1: exit status $tool_status"
}

# shellcheck disable=SC2034,SC2154 # ask_tool reads tool_seconds, sets the others
ask_all() {
  tool_seconds=10
  ask_controller mc info
  tool_seconds=30
  ask_controller sdr
  tool_seconds=60
  ask_tool ipmitool sel elist
  if [ "$tool_status" -ne 0 ]; then
    log_unknown "ipmitool sel: exit status $tool_status"
  elif ! printf '%s\n' "$tool_output" | print_recent_entries; then
    incomplete "the log of the management controller"
  fi
}

unknown_reason=
if [ -z "$controller" ]; then
  missing /dev/ipmi0
  unknown_reason="no /dev/ipmi0"
elif [ ! -r "$ROOT$controller" ]; then
  printf 'unreadable: %s: Permission denied\n' "$controller"
  unknown_reason="Permission denied"
elif ! command -v ipmitool >/dev/null 2>&1; then
  missing ipmitool
  unknown_reason="no ipmitool"
fi
if [ -z "$unknown_reason" ]; then
  ask_all
else
  sensors_unknown "$unknown_reason"
  log_unknown "$unknown_reason"
fi
finish
