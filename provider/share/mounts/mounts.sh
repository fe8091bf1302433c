#!/bin/sh
# What is mounted, from the kernel's own table and nothing else.
#
# No mount point is touched: asking one for its size or its type waits for ever
# when the server behind it is dead. The kernel's order is kept, since a later
# mount hides an earlier one at the same place.

mask_awk=
# shellcheck source=/dev/null
. "${0%/*}/../common/mask.sh"
# shellcheck source=/dev/null
. "${0%/*}/../common/prologue.sh"
need_tools awk
need_file /proc/self/mounts

# The kernel writes blanks inside a field as \040, so a field is a word.
# shellcheck disable=SC2016 # the dollars belong to awk
awk "$mask_awk"'
  { print "/proc/self/mounts: " mask_text($1) " " $2 " " $3 " " mask_text($4) " " $5 " " $6 }
  ' "$ROOT/proc/self/mounts" || incomplete /proc/self/mounts
finish
