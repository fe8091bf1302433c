#!/bin/sh
# Model, stepping, microcode and feature flags of the processors: all that
# /proc/cpuinfo says of the first one, and for the others what must be equal,
# one line for each value that occurs and the processors that have it.

ranges_awk=
script_folder=
# shellcheck source=/dev/null
. "${0%/*}/../common/prologue.sh"
# shellcheck source=/dev/null
. "$script_folder/../common/ranges.sh"
need_tools awk
need_file /proc/cpuinfo

# The file is walked once: 512 processors are 1.5 MB of text.
# shellcheck disable=SC2016 # the dollars belong to awk
awk "$ranges_awk"'
  BEGIN {
    compared = split("vendor_id|cpu family|model|model name|stepping|microcode|flags|" \
                     "bugs|Features|CPU implementer|CPU part|CPU revision", names, "|")
    for (i = 1; i <= compared; i++) is_compared[names[i]] = 1
  }

  !first_ended && /^[ \t]*$/ { first_ended = NR > 1 }
  !first_ended && !/^[ \t]*$/ { print "/proc/cpuinfo: " $0 }
  {
    colon = index($0, ":")
    if (!colon) next
    name = substr($0, 1, colon - 1)
    sub(/[ \t]+$/, "", name)
    value = substr($0, colon + 2)
    if (name == "processor" && value ~ /^[0-9]+$/) { cpu = value + 0; cpu_count++ }
    else if (name in is_compared) add_value(name, cpu + 0, value)
  }

  END {
    print "cpuinfo.cpus: " cpu_count + 0
    for (i = 1; i <= compared; i++) {
      name = names[i]
      label = name
      gsub(/ /, "_", label)
      print_values(name, "cpuinfo." label)
    }
    exit cpu_count ? 0 : 83
  }' "$ROOT/proc/cpuinfo" || incomplete "/proc/cpuinfo names no processor"
finish
