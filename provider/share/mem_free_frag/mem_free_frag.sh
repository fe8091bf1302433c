#!/bin/sh
# How much memory is free and in how large pieces, what the kernel itself holds,
# and memory that the hardware has lost.

# shellcheck source=/dev/null
. "${0%/*}/../common/prologue.sh"
need_tools xargs grep awk
need_file /proc/meminfo

# The lines that tell what is free, held or lost.
# shellcheck disable=SC2016 # the dollars belong to awk
awk '
  /^(MemTotal|MemFree|MemAvailable|Buffers|Cached|SwapCached|AnonPages|Mapped|Shmem|Slab|SReclaimable|SUnreclaim|KernelStack|PageTables|SecPageTables|NFS_Unstable|Dirty|Writeback|WritebackTmp|VmallocUsed|Percpu|Committed_AS|SwapTotal|SwapFree|HardwareCorrupted|Mlocked|Unevictable|Hugetlb):/ {
    print "/proc/meminfo: " $0
    count++
  }
  END { exit count ? 0 : 83 }' "$ROOT/proc/meminfo" || incomplete "/proc/meminfo says nothing"

# Free blocks for each zone and order; a block of order 9 is 512 pages, which
# with pages of 4 KiB is one huge page.
[ -e "$ROOT/proc/buddyinfo" ] || missing /proc/buddyinfo
evidence=$(list_present "$ROOT/proc/buddyinfo" | print_files) || incomplete /proc/buddyinfo
# shellcheck disable=SC2016 # the dollars belong to awk
[ -z "$evidence" ] || printf '%s\n' "$evidence" | awk '
  { print }
  /^\/proc\/buddyinfo: Node/ {
    zones++
    size = 1
    for (i = 6; i <= NF; i++) {
      pages += $i * size
      if (i - 6 >= 9) large += $i * size
      size *= 2
    }
  }
  END {
    if (!zones) exit
    printf "buddy.free_pages: %.0f\n", pages
    printf "buddy.free_pages_of_order_9_and_above: %.0f\n", large
    if (pages > 0) printf "buddy.large_share_percent: %.1f\n", 100 * large / pages
  }'

# Counters since boot: what was killed for want of memory, and how often the
# kernel had to move memory about before it could give out a large piece.
[ -e "$ROOT/proc/vmstat" ] || missing /proc/vmstat
list_present "$ROOT/proc/vmstat" | print_files |
  grep -E -e '^/proc/vmstat: (oom_kill|compact_(stall|fail|success)|allocstall(_normal|_movable)?|thp_fault_fallback) ' -e '^unreadable: '
finish
