#!/bin/sh
# The kernel's command line, whole and a parameter a line, credentials masked.
# What names the node or its disks, and so differs between equal nodes, is called
# volatile.

mask_awk=
script_folder=
# shellcheck source=/dev/null
. "${0%/*}/../common/prologue.sh"
# shellcheck source=/dev/null
. "$script_folder/../common/mask.sh"
need_tools awk
need_file /proc/cmdline

# A parameter ends at a blank outside double quotes, as in the kernel. A secret
# is masked in its parameter first, and the whole line is put together again
# from these.
# shellcheck disable=SC2016 # the dollars belong to awk
awk "$mask_awk"'
  function masked_parameter(text,    equals) {
    equals = index(text, "=")
    if (equals && is_secret_name(substr(text, 1, equals - 1)))
      return substr(text, 1, equals) "(masked)"
    return mask_text(text)
  }

  # By its name, or by a value that names a disk or a network card.
  function is_of_this_node(text) {
    return text ~ /^(BOOT_IMAGE|BOOTIF|bootif|bootdev|root|resume|resume_offset|ip|ifname|nfsroot|netroot|wwid|wwuuid|uuid|ds|((systemd|rd)\.)?(hostname|host_?name|machine_id)|HOSTNAME|(spl\.spl_)?hostid|(rd\.)?(luks|md|lvm|iscsi|znet)[._a-z]*)=/ ||
           text ~ /[^A-Za-z](PART)?UUID=/ || text ~ /\/dev\/disk\/by-/ ||
           text ~ /=.*[0-9a-fA-F][0-9a-fA-F]([:-][0-9a-fA-F][0-9a-fA-F])([:-][0-9a-fA-F][0-9a-fA-F])([:-][0-9a-fA-F][0-9a-fA-F])([:-][0-9a-fA-F][0-9a-fA-F])([:-][0-9a-fA-F][0-9a-fA-F])/
  }

  function take_parameter() {
    if (parameter != "") list[++count] = masked_parameter(parameter)
    parameter = ""
  }

  {
    quoted = 0
    size = length($0)
    for (i = 1; i <= size; i++) {
      char = substr($0, i, 1)
      if (char == "\"") quoted = !quoted
      if (!quoted && (char == " " || char == "\t")) take_parameter()
      else parameter = parameter char
    }
    take_parameter()
  }

  END {
    whole = ""
    for (i = 1; i <= count; i++) whole = whole (i > 1 ? " " : "") list[i]
    print "/proc/cmdline: " whole
    for (i = 1; i <= count; i++)
      print (is_of_this_node(list[i]) ? "volatile: " : "parameter: ") list[i]
  }' "$ROOT/proc/cmdline" || incomplete /proc/cmdline
finish
