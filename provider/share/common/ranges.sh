# shellcheck shell=sh
# One line for each value that occurs among the processors, with those that have
# it: awk functions, to be put in front of a script's own awk program.
#
# A value is remembered as ranges of processors that grow, so the work is linear
# in what is read: 512 processors with ten settings each are common.
#
#   add_value(name, cpu, value)   in the order of the processors
#   print_values(name, label)     label: 0-199,202-511: value

# shellcheck disable=SC2016,SC2034 # the dollars belong to awk; used by others
ranges_awk='
  function add_value(name, cpu, value) {
    if (!((name, value) in range_last)) {
      range_value[name, ++range_count[name]] = value
      range_first[name, value] = cpu
    } else if (range_last[name, value] != cpu - 1) {
      close_range(name, value)
      range_first[name, value] = cpu
    }
    range_last[name, value] = cpu
  }

  function close_range(name, value,    text) {
    text = range_first[name, value]
    if (range_last[name, value] > text) text = text "-" range_last[name, value]
    if ((name, value) in range_text) text = range_text[name, value] "," text
    range_text[name, value] = text
  }

  function print_values(name, label,    i, value) {
    for (i = 1; i <= range_count[name] + 0; i++) {
      value = range_value[name, i]
      close_range(name, value)
      print label ": " range_text[name, value] ": " value
    }
  }'
