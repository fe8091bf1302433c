#!/bin/sh
# Fingerprints of the node's own SSH keys. Two nodes with the same one were
# copied from one image.
#
# Only the public halves are read.

tool_output=
tool_status=
# shellcheck source=/dev/null
. "${0%/*}/../common/prologue.sh"
need_tools awk

keys=$ROOT/etc/ssh
has_keys() {
  for key in "$keys"/ssh_host_*_key.pub; do
    [ -e "$key" ] && return 0
  done
  return 1
}
[ ! -d "$keys" ] || [ -x "$keys" ] || no_permission "${keys#"$ROOT"}"
has_keys || not_applicable "the machine has no SSH host keys"
need_tools ssh-keygen timeout env

# The comment at the end of a key is the name of whom made it.
for key in "$keys"/ssh_host_*_key.pub; do
  ask_tool ssh-keygen -l -E sha256 -f "$key" || continue
  if [ "$tool_status" -ne 0 ]; then
    incomplete "${key#"$ROOT"}"
    continue
  fi
  # shellcheck disable=SC2016 # the dollars belong to awk
  printf '%s\n' "$tool_output" | awk '
    { type = $NF; gsub(/[()]/, "", type); print "hostkey: " type " " $1 " " $2 }'
done
finish
