#!/bin/sh
# Errors and trouble that InfiniBand and RoCE ports have counted. What they have
# carried (bytes, packets) is left out: it tells of use, not of health.

# shellcheck source=/dev/null
. "${0%/*}/../common/prologue.sh"
need_tools xargs grep awk
need_file /sys/class/infiniband

list_counters() {
  for folder in "$ROOT"/sys/class/infiniband/*/ports/*/counters \
    "$ROOT"/sys/class/infiniband/*/ports/*/hw_counters; do
    for counter in "$folder"/*; do
      case ${counter##*/} in
        # How long the kernel believes what it has read is a setting.
        '*' | *_data | *_data_64 | *_packets | *_packets_64 | lifespan) ;;
        *_bytes | rx_*_requests | *_read_requests | *_write_requests | *_atomic_requests) ;;
        *) printf '%s\0' "$counter" ;;
      esac
    done
  done
}

evidence=$(list_counters | print_files) ||
  incomplete "counters of /sys/class/infiniband"
[ -n "$evidence" ] || not_applicable "no InfiniBand or RoCE port that counts"
printf '%s\n' "$evidence"
finish
