#!/bin/sh
# What is mounted, from the kernel's own table and nothing else.
#
# No mount point is touched: asking one for its size or its type waits for ever
# when the server behind it is dead. The kernel's order is kept, since a later
# mount hides an earlier one at the same place.

mask_awk=
script_folder=
# shellcheck source=/dev/null
. "${0%/*}/../common/prologue.sh"
# shellcheck source=/dev/null
. "$script_folder/../common/mask.sh"
need_tools awk
need_file /proc/self/mounts

# The kernel writes blanks inside a field as \040, so a field is a word.
#
# Options that tell of the server that was met at the moment, of the size of the
# memory or of a process are put behind the others, so that what lies in front of
# them can be compared. The number of a loop device says nothing either. What
# comes and goes with logins and containers is called volatile.
# shellcheck disable=SC2016 # the dollars belong to awk
awk "$mask_awk"'
  function ordered(options,    count, i, each, kept, last) {
    count = split(options, each, ",")
    kept = last = ""
    for (i = 1; i <= count; i++)
      if (each[i] ~ /^(size|nr_inodes|nr_blocks|addr|clientaddr|mountaddr|mountport|fd|pgrp|pipe_ino)=/)
        last = last "," each[i]
      else kept = kept "," each[i]
    return substr(kept last, 2)
  }
  function passes(point) {
    return point ~ /^\/run\/(user|docker|containerd|containers|netns|credentials|k3s|snapd)\// ||
           point ~ /^\/var\/lib\/(docker|containers|containerd|kubelet|k0s|rancher|lxcfs?|lxd|cni|crio|nvidia-docker)\// ||
           point ~ /\/(overlay|overlay2|overlay-containers|overlayfs)\/.*merged$/
  }
  {
    source = mask_text($1)
    if (source ~ /^\/dev\/loop[0-9]+$/) source = "/dev/loop"
    print (passes($2) ? "volatile" : "/proc/self/mounts") ": " source " " $2 " " $3 " " \
          ordered(mask_text($4)) " " $5 " " $6
  }' "$ROOT/proc/self/mounts" || incomplete /proc/self/mounts
finish
