# shellcheck shell=sh
# What `nvidia-smi -q -x` says, as lines that can be read one by one.
#
#   <nvidia_smi_log>                          driver_version: 550.54.15
#     <driver_version>550.54.15</...>         gpu.0.product_name: NVIDIA H100
#     <gpu id="00000000:07:00.0">             gpu.0.pci.pci_bus: 07
#       <product_name>NVIDIA H100</...>
#
# The cards are counted in the order of the driver. Every element has a line of
# its own there, which saves a reader of XML.

# shellcheck disable=SC2016 # the dollars belong to awk
nvidia_lines_awk='
  function path(    level, text) {
    for (level = 2; level <= depth; level++) text = text place[level] "."
    return text
  }
  { sub(/^[ \t]+/, ""); sub(/[ \t\r]+$/, "") }
  /^<[?!]/ || /^<[^>]*\/>$/ { next }
  /^<\// { if (depth > 0) depth--; next }
  match($0, /^<[a-zA-Z0-9_]+/) {
    tag = substr($0, 2, RLENGTH - 1)
    rest = $0
    sub(/^<[^>]*>/, "", rest)
    if (rest != "") {
      sub(/<\/[a-zA-Z0-9_]+>$/, "", rest)
      print path() tag ": " rest
    } else {
      if (tag == "gpu" && depth == 1) tag = "gpu." cards++
      place[++depth] = tag
    }
  }'

# Whether the bus has a graphics card or accelerator of this maker (0x10de,
# 0x1002). What only shows a console belongs to other makers, or is integrated.
has_pci_card() {
  for card in "$ROOT"/sys/bus/pci/devices/*; do
    [ -r "$card/class" ] || continue
    read -r card_class <"$card/class"
    read -r card_vendor <"$card/vendor"
    case $card_vendor:$card_class in
      "$1":0x03* | "$1":0x12*) return 0 ;;
    esac
  done
  return 1
}

# nvidia_lines: what the tool says of all cards, in `nvidia_evidence`; false
# when it said nothing of use, with `nvidia_reason`. A card that hangs makes the
# tool hang in the driver, where nothing ends it.
# shellcheck disable=SC2034 # nvidia_reason: for who calls this
nvidia_lines() {
  nvidia_evidence=
  nvidia_reason="nvidia-smi is not here"
  [ -z "$ROOT" ] || [ -n "${ZELK_PROVIDER_PATH:-}" ] || return 1
  command -v nvidia-smi >/dev/null 2>&1 || return 1
  nvidia_text=$(bounded 30 env -i PATH="$PATH" LC_ALL=C HOME=/ nvidia-smi -q -x)
  nvidia_status=$?
  nvidia_evidence=$(printf '%s\n' "$nvidia_text" | awk "$nvidia_lines_awk")
  case $nvidia_status in
    0) [ -n "$nvidia_evidence" ] && return 0
       nvidia_reason="nvidia-smi said nothing" ;;
    124) nvidia_reason="nvidia-smi gave no answer in 30 s" ;;
    *)
      nvidia_first=$(printf '%s\n' "$nvidia_text" | awk 'NF && !/^</ { print; exit }')
      nvidia_reason="nvidia-smi: exit status $nvidia_status: $nvidia_first"
      ;;
  esac
  return 1
}
