# shellcheck shell=sh
# Memory of which nothing large is free, and which lost a page; a kernel that
# keeps its block counts from users.

tree_mem_free_frag() {
  put "$1/proc/meminfo" 'MemTotal:       1000000 kB\nMemAvailable:    900000 kB\nHardwareCorrupted:     4 kB\nHugePages_Total:       0\n'
  put "$1/proc/buddyinfo" 'Node 0, zone   Normal    100     10      0      0      0      0      0      0      0      0      0 \nNode 1, zone   Normal      0      0      0      0      0      0      0      0      1      2      3 \n'
  put "$1/proc/vmstat" 'nr_free_pages 5\noom_kill 2\ncompact_stall 7\n'
  put "$1-closed/proc/meminfo" 'MemTotal:       1000000 kB\n'
  put "$1-closed/proc/buddyinfo" 'Node 0\n'
  put "$1-empty/proc/meminfo" 'nonsense\n'
}

stable_mem_free_frag() { sed -e '/^\/proc\/meminfo: MemTotal/!d' -e 's/:  .*//'; }

test_mem_free_frag() {
  check "memory: corrupted" gives 0 mem_free_frag "/proc/meminfo: HardwareCorrupted:     4 kB"
  check "memory: pages of all zones" gives 0 mem_free_frag "buddy.free_pages: 4472"
  check "memory: in large blocks" gives 0 mem_free_frag "buddy.free_pages_of_order_9_and_above: 4096"
  check "memory: killed for want of it" gives 0 mem_free_frag "/proc/vmstat: oom_kill 2"
  check "memory: other counters are left out" lacks mem_free_frag nr_free_pages
  tree=mem_free_frag-closed
  chmod 000 "$trees/$tree/proc/buddyinfo"
  ! can_be_nobody || shell=$as_nobody
  check "memory: block counts for root only" gives 0 mem_free_frag \
    "unreadable: /proc/buddyinfo: Permission denied"
  check "memory: no figure stands for what was not read" lacks mem_free_frag '^buddy'
  shell=
  check "memory: no counters" gives 0 mem_free_frag "missing: /proc/vmstat"
  tree=mem_free_frag-empty
  check "memory: a file that says nothing" gives 83 mem_free_frag
}
